// librockit for tests: blocks from the heap, every call recorded, any of them made to fail.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace ztk::test {

class FakeRockit {
  public:
    static void Reset();  ///< forgets calls, failures and (freeing them) blocks

    /// The @p nOccurrence-th allocation from now on (1: the next; 0: every one) returns @p nCode; a negative
    /// one is a failure, any other comes with a block.
    static void FailAlloc(int nOccurrence, std::int32_t nCode);
    /// The @p nOccurrence-th Handle2VirAddr from now on (0: every one) gives null.
    static void FailVirAddr(int nOccurrence);

    /// The next allocation comes at the address of the newest block, which counts as freed: by the program,
    /// behind the pool's back. It must not be longer than that.
    static void GiveNewestAgain();

    /// "Alloc 4096 flags 0", "VirAddr h1", "Handle h1" / "Handle ?" (unknown address), "Free h1"; h1 is the
    /// first block allocated since Reset(). A block that is free already is unknown.
    static std::vector<std::string> Calls();
    static std::size_t LiveBlocks();

    static std::uint64_t HandleValue(int nBlock);  ///< of block h<nBlock>
    static void* Address(int nBlock);              ///< null once it is free
};

}  // namespace ztk::test
