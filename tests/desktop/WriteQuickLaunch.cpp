// writequicklaunch FILE [HOST USER PASSWORD LOCAL REMOTE PORT]: saves a Quick-Launch file with the
// program's own writer, for a fixed form unless one is given.
#include "QuickLaunch.h"

#include <cstdio>

int main(int argc, char** argv) {
    if (argc != 2 && argc != 8) {
        std::fprintf(stderr,
                     "usage: writequicklaunch FILE [HOST USER PASSWORD LOCAL REMOTE PORT]\n");
        return 2;
    }
    QuickLaunch::Form form{"ftp.example.org", "anna", "secret", "/tmp", "/pub", "21"};
    if (argc == 8) {
        form = {argv[2], argv[3], argv[4], argv[5], argv[6], argv[7]};
    }
    return QuickLaunch::Write(argv[1], form) ? 0 : 1;
}
