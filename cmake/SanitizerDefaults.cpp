// For programs that are built with a sanitizer. Leaks of graphics drivers and of x265, and what fontconfig keeps of its
// settings, cannot be fixed here and are ignored. Drivers are normally unloaded before the leak check, and then neither their
// leaks nor their threads' stacks can be recognised; so nothing is unloaded.
#include <unistd.h>

namespace {

pid_t const kProgram = getpid();

}  // namespace

extern "C" {

// A copy of the process that `fork` made leaves what belongs to threads that it does not have.
int __lsan_is_turned_off();
int __lsan_is_turned_off() {
    return getpid() != kProgram ? 1 : 0;
}

int dlclose(void*) noexcept;
int dlclose(void*) noexcept {
    return 0;
}

// A list of what was ignored would stand among what the command says.
char const* __lsan_default_options();
char const* __lsan_default_options() {
    return "print_suppressions=0";
}

char const* __lsan_default_suppressions();
char const* __lsan_default_suppressions() {
    return "leak:_dri.so\n"
           "leak:libEGL_mesa.so\n"
           "leak:libgallium\n"
           "leak:libfontconfig\n"
           "leak:libx265\n"
           "leak:libnvidia\n"
           "leak:libEGL_nvidia.so\n";
}

}  // extern "C"
