#include "platform/linux/windlarkd/LinuxSysfs.h"
#include "platform/linux/windlarkd/WindlarkdServer.h"

int main(int argc, char** argv) {
    windlark::LinuxSysfs sysfs;
    return windlark::windlarkdMain(argc, argv, sysfs);
}
