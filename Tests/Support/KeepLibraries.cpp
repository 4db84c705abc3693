// Only in programs built with a sanitizer: libraries stay loaded to the end of the process. A GL driver is unloaded with
// its display; what it keeps to the end (tables, compiled shaders) would then be reported as leaks without a name that
// could be suppressed, and its threads' stacks could not be told.

extern "C" __attribute__((visibility("default"))) int dlclose(void*) noexcept { return 0; }
