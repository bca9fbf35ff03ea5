#include "metered_memory.h"

#include "log_marks.h"
#include "stopwatch.h"

namespace demo {

std::uint8_t* MeteredMemory::Note(std::uint8_t* pBlock) {
    ++usage_.nRequests;
    usage_.addresses.insert(pBlock);
    MarkHeld(pBlock);
    return pBlock;
}

std::uint8_t* MeteredMemory::ObtainForCapture(std::size_t nSize) {
    const Stopwatch watch;
    std::uint8_t* pBlock = memory_.ObtainForCapture(nSize);
    usage_.spent += watch.Elapsed();
    return Note(pBlock);
}

std::uint8_t* MeteredMemory::ObtainForWork(std::size_t nSize) {
    const Stopwatch watch;
    std::uint8_t* pBlock = memory_.ObtainForWork(nSize);
    usage_.spent += watch.Elapsed();
    return Note(pBlock);
}

void MeteredMemory::GiveBack(std::uint8_t* pBlock) noexcept {
    const Stopwatch watch;
    memory_.GiveBack(pBlock);
    usage_.spent += watch.Elapsed();
    MarkGivenBack(pBlock);
}

}  // namespace demo
