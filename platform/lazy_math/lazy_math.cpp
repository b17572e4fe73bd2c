// What Lua needs of the mathematical library, taken from it at the first use. A one-shot request never gets
// there, and would pay for loading and relocating a shared library: a third of a megabyte and a twentieth of
// its time. (A static libm is no way out: it needs symbols of the dynamic loader that only a shared one may
// use.) Linked behind Lua; a function that is missing here brings the shared library back, no more.
#include <features.h>
#if defined(__GLIBC__) && !defined(__UCLIBC__)
#include <dlfcn.h>
#include <gnu/lib-names.h>
#include <stdio.h>
#include <stdlib.h>

namespace {

void* function(const char* name) {
    static void* library = dlopen(LIBM_SO, RTLD_NOW | RTLD_LOCAL);
    void* found = library ? dlsym(library, name) : nullptr;
    if (found) return found;
    fprintf(stderr, "%s: %s\n", LIBM_SO, dlerror());
    abort();
}

}  // namespace

extern "C" {

#define OF_ONE(name)                                                                      \
    double name(double x) {                                                               \
        static auto* const found = reinterpret_cast<double (*)(double)>(function(#name)); \
        return found(x);                                                                  \
    }
#define OF_TWO(name, Second)                                                                      \
    double name(double x, Second y) {                                                             \
        static auto* const found = reinterpret_cast<double (*)(double, Second)>(function(#name)); \
        return found(x, y);                                                                       \
    }

OF_ONE(acos)
OF_ONE(asin)
OF_ONE(ceil)
OF_ONE(cos)
OF_ONE(cosh)
OF_ONE(exp)
OF_ONE(floor)
OF_ONE(log)
OF_ONE(log10)
OF_ONE(log2)
OF_ONE(sin)
OF_ONE(sinh)
OF_ONE(sqrt)
OF_ONE(tan)
OF_ONE(tanh)
OF_TWO(atan2, double)
OF_TWO(fmod, double)
OF_TWO(frexp, int*)
OF_TWO(ldexp, int)
OF_TWO(pow, double)
}

#endif
