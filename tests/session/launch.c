// Starts a program of another architecture under its emulator, as the kernel starts one of this machine's: by
// path, with the name it was called by. Linked statically, so that what is preloaded into the program stays
// out of it.
//
// EMULATOR: the command, its words separated by spaces. The program is the one that stands in the folder
// above "emulated" by the launcher's own path: BUILD/emulated/bin/obxc starts BUILD/bin/obxc.
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

int main(int argc, char** argv) {
    static const char mark[] = "/emulated/";
    char path[PATH_MAX] = "";
    if (readlink("/proc/self/exe", path, sizeof path - 1) < 0) return 127;
    char* found = strstr(path, mark);
    if (!found) return 127;
    memmove(found, found + sizeof mark - 2, strlen(found + sizeof mark - 2) + 1);

    static char emulator[] = EMULATOR;
    char** words = calloc(argc + 16, sizeof(char*));
    if (!words) return 127;
    int count = 0;
    for (char* word = strtok(emulator, " "); word && count < 8; word = strtok(NULL, " "))
        words[count++] = word;
    words[count++] = "-0";
    words[count++] = argv[0];
    words[count++] = path;
    for (int i = 1; i < argc; i++) words[count++] = argv[i];
    execvp(words[0], words);
    perror(words[0]);
    return 127;
}
