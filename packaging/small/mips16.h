// Included in front of everything that is compiled for MIPS16. Its code calls what gives a floating-point
// number through a stub, which calls by address (-mplt) go past: these two of libc's are called through a
// pointer.
#ifndef __ASSEMBLER__
#ifdef __cplusplus
extern "C" {
double strtod(const char*, char**) noexcept __attribute__((long_call));
double difftime(long long, long long) noexcept __attribute__((long_call));
}
#else
double strtod(const char*, char**) __attribute__((long_call));
double difftime(long long, long long) __attribute__((long_call));
#endif
#endif
