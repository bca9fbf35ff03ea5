#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <map>

#include "subject.h"
#include "ztk_common.h"

namespace bench {
namespace {

class SharedPool : public Subject {
  public:
    void* Take(std::size_t nSize) override {
        void* pBlock = nullptr;
        char szName[ZTK_SHARED_NAME_SIZE];
        if (AllocatePoolSharedMemory(nSize, &pBlock, szName) != ZTK_SUCCESS) GiveUp("shared pool");
        return pBlock;
    }
    void Return(void* pBlock, std::size_t) override {
        if (FreePoolSharedMemory(pBlock) != ZTK_SUCCESS) GiveUp("shared pool");
    }
    void Flush() override {
        constexpr std::uint64_t kMoreThanThereIs = std::uint64_t{1} << 60;
        void* pNone = nullptr;
        char szName[ZTK_SHARED_NAME_SIZE];
        if (AllocatePoolSharedMemory(kMoreThanThereIs, &pNone, szName) != ERR_NO_MEMORY) GiveUp("flush");
    }
};

void* MapShared(int nFd, std::size_t nSize) {
    if (nFd < 0 || ftruncate(nFd, static_cast<off_t>(nSize)) != 0) GiveUp("a shared object");
    void* pBlock = mmap(nullptr, nSize, PROT_READ | PROT_WRITE, MAP_SHARED, nFd, 0);
    if (pBlock == MAP_FAILED) GiveUp("a mapping");
    return pBlock;
}

/// A named object for every block, as a program without a pool does it.
class FreshObject : public Subject {
  public:
    void* Take(std::size_t nSize) override {
        const int nName = nNext_++;
        const int nFd = shm_open(NameOf(nName).szText, O_RDWR | O_CREAT | O_EXCL, 0600);
        void* pBlock = MapShared(nFd, nSize);
        close(nFd);
        names_[pBlock] = nName;
        return pBlock;
    }
    void Return(void* pBlock, std::size_t nSize) override {
        const auto it = names_.find(pBlock);
        munmap(pBlock, nSize);
        shm_unlink(NameOf(it->second).szText);
        names_.erase(it);
    }
    ~FreshObject() override {
        for (const auto& [pBlock, nName] : names_)
            shm_unlink(NameOf(nName).szText);
    }

  private:
    struct Name {
        char szText[48];
    };
    static Name NameOf(int nName) {
        Name name{};
        std::snprintf(name.szText, sizeof(name.szText), "/ztk-bench-%d-%d", static_cast<int>(getpid()),
                      nName);
        return name;
    }

    std::map<void*, int> names_;
    int nNext_ = 0;
};

/// The same without a name: another process gets the descriptor.
class Memfd : public Subject {
  public:
    void* Take(std::size_t nSize) override {
        const int nFd = memfd_create("ztk-bench", MFD_CLOEXEC);
        void* pBlock = MapShared(nFd, nSize);
        close(nFd);
        return pBlock;
    }
    void Return(void* pBlock, std::size_t nSize) override { munmap(pBlock, nSize); }
};

}  // namespace

std::unique_ptr<Subject> MakeSharedSubject(const std::string& szName) {
    if (szName == "shm-pool") return std::make_unique<SharedPool>();
    if (szName == "shm-fresh") return std::make_unique<FreshObject>();
    if (szName == "memfd") return std::make_unique<Memfd>();
    return nullptr;
}

}  // namespace bench
