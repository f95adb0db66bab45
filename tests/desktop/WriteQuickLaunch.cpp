// writequicklaunch FILE: saves a Quick-Launch file for a fixed form, as the main window does.
#include "QuickLaunch.h"

#include <cstdio>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: writequicklaunch FILE\n");
        return 2;
    }
    QuickLaunch::Form form{"ftp.example.org", "anna", "secret", "/tmp", "/pub", "21"};
    return QuickLaunch::Write(argv[1], form) ? 0 : 1;
}
