// Linked into a program, lets every wait of the orchestrator end at once: measured is
// what a claw move costs, not how long it is asked to wait.

#include <ctime>

extern "C" int nanosleep(const timespec* /*duration*/, timespec* /*remaining*/) { return 0; }
