// A name server that never answers: preloaded into obxc, the look-up of any name but an address lasts for
// ever.
#include <dlfcn.h>
#include <netdb.h>
#include <unistd.h>

extern "C" int getaddrinfo(const char* host, const char* port, const struct addrinfo* hints,
                           struct addrinfo** list) {
    using Original = int (*)(const char*, const char*, const struct addrinfo*, struct addrinfo**);
    bool waits = !hints || (hints->ai_flags & AI_NUMERICHOST) == 0;
    while (waits) pause();
    return reinterpret_cast<Original>(dlsym(RTLD_NEXT, "getaddrinfo"))(host, port, hints, list);
}
