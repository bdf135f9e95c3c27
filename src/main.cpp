#include <cstdio>

// Replaced by the command-line dispatch as the hardware and helper layers land.
int main() {
    std::puts("windlark-mac: no command yet");
    return 0;
}
