// A slow file system: preloaded into obxc, it takes a while until a file has its new name.
#include <dlfcn.h>
#include <stdio.h>
#include <unistd.h>

extern "C" int renameat(int from_directory, const char* from, int to_directory, const char* to) noexcept {
    enum { LONG_US = 20000 };
    using Original = int (*)(int, const char*, int, const char*);
    usleep(LONG_US);
    auto original = reinterpret_cast<Original>(dlsym(RTLD_NEXT, "renameat"));
    return original(from_directory, from, to_directory, to);
}
