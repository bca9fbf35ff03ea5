/* A C host: the C++ runtime comes with the library only. */
#include "tests/library/host_checks.h"

int main(int argc, char** argv) {
    return RunHost(argc, argv);
}
