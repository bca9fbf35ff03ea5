// Boost.Interprocess: blocks of one shared segment, which its own allocator divides.
#include "subject.h"

#ifdef ZTK_BENCH_BOOST
#include <unistd.h>

#include <boost/interprocess/managed_shared_memory.hpp>

namespace bench {
namespace {

namespace ipc = boost::interprocess;

class BoostSegment : public Subject {
  public:
    explicit BoostSegment(std::size_t nLargest)
        : szName_("ztk-bench-" + std::to_string(getpid()) + "-boost"),
          segment_(ipc::create_only, szName_.c_str(), kBlocks * nLargest + kOverhead) {
        ipc::shared_memory_object::remove(szName_.c_str());  // the mapping stays
    }
    void* Take(std::size_t nSize) override { return segment_.allocate(nSize); }
    void Return(void* pBlock, std::size_t) override { segment_.deallocate(pBlock); }

  private:
    static constexpr std::size_t kBlocks = 4;
    static constexpr std::size_t kOverhead = 65'536;
    std::string szName_;
    ipc::managed_shared_memory segment_;
};

}  // namespace

std::unique_ptr<Subject> MakeBoostSubject(const std::string& szName, std::size_t nLargest) {
    return szName == "boost" ? std::make_unique<BoostSegment>(nLargest) : nullptr;
}

}  // namespace bench

#else

std::unique_ptr<bench::Subject> bench::MakeBoostSubject(const std::string&, std::size_t) {
    return nullptr;
}

#endif
