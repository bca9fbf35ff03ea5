#include "instruction_counter.h"

#include <linux/perf_event.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

InstructionCounter::InstructionCounter() {
    perf_event_attr wanted{};
    wanted.type = PERF_TYPE_HARDWARE;
    wanted.size = sizeof(wanted);
    wanted.config = PERF_COUNT_HW_INSTRUCTIONS;
    wanted.disabled = 1;
    wanted.exclude_kernel = 1;
    wanted.exclude_hv = 1;
    counter_ = static_cast<int>(syscall(SYS_perf_event_open, &wanted, 0, -1, -1, PERF_FLAG_FD_CLOEXEC));
    if (counter_ >= 0) return;
    std::perror("no counter of instructions");
    std::exit(1);
}

InstructionCounter::~InstructionCounter() {
    close(counter_);
}

void InstructionCounter::On() const {
    ioctl(counter_, PERF_EVENT_IOC_RESET, 0);
    ioctl(counter_, PERF_EVENT_IOC_ENABLE, 0);
}

std::uint64_t InstructionCounter::Off() const {
    ioctl(counter_, PERF_EVENT_IOC_DISABLE, 0);
    std::uint64_t nCount = 0;
    if (read(counter_, &nCount, sizeof(nCount)) != sizeof(nCount)) std::exit(1);
    return nCount;
}
