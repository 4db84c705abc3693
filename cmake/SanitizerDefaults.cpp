// For programs that are built with a sanitizer: what graphics drivers leak is not ours to mend. Drivers are unloaded
// before leaks are looked for, which leaves nothing to recognise them by, nor their threads' stacks; so nothing is
// unloaded.
extern "C" {

int dlclose(void*);
int dlclose(void*) {
    return 0;
}

char const* __lsan_default_suppressions();
char const* __lsan_default_suppressions() {
    return "leak:_dri.so\n"
           "leak:libEGL_mesa.so\n"
           "leak:libgallium\n"
           "leak:libnvidia\n"
           "leak:libEGL_nvidia.so\n";
}

}  // extern "C"
