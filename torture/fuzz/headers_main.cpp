// Headers that somebody has changed, through the built library (changed_header.h) and through the consumer's
// header on real objects: all 65,536 header lengths, all 256 MMZ flags, texts with and without terminator,
// objects of 0 to 256 bytes and huge ones, arbitrary bytes. Whatever stands there, there is a status.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tests/library/library.h"
#include "torture/fuzz/changed_header.h"
#include "torture/fuzz/text_maker.h"
#include "torture/processes/place.h"
#include "torture/report.h"
#include "torture/run.h"

namespace ztk::torture {
namespace {

constexpr char kPart[] = "headers";
constexpr std::uint64_t kSize = 4096;

/// The owner's side.
class Owner {
  public:
    explicit Owner(Run& run) : run_(run) {}

    /// The library tries twice; both times the header is changed.
    void Check(const HeaderBytes& header) {
        ChangeHeadersTo(&header);
        void* pBlock = nullptr;
        char szName[ZTK_SHARED_NAME_SIZE] = "";
        const std::uint32_t nStatus = library_.AllocatePoolSharedMemory(kSize, &pBlock, szName);
        ChangeHeadersTo(nullptr);
        const OwnView enView = JudgeOwnView(header);
        const HeaderLines lines = TakeHeaderLines();
        const bool bMapped = enView == OwnView::kMapped;
        bool bGood = nStatus == (bMapped ? ZTK_SUCCESS : ERR_NO_MEMORY) && (pBlock != nullptr) == bMapped;
        bGood = bGood && lines.nBadLength == (enView == OwnView::kBadLength ? 2 : 0) &&
                lines.nUnreadable == (enView == OwnView::kMmzUnreadable ? 2 : 0) &&
                lines.nMmz == (enView == OwnView::kMmzRefused ? 2 : 0) && lines.nNotSupported == lines.nMmz;
        run_.Expect(bGood, "the owner's view: header length %u, flag %u, text \"%.32s\": status %#x",
                    header.at(kAtHeaderLen) + 256U * header.at(kAtHeaderLen + 1), header.at(kAtByMmz),
                    reinterpret_cast<const char*>(header.data()) + kAtText, nStatus);
        if (bMapped) GiveBack(pBlock);
        run_.CountRun();
    }

    void End() {
        run_.Expect(library_.Unload(), "the library was not unloaded");
        for (const std::string& name : ShmEntries())
            run_.Differs("left in the end: %s", name.c_str());
    }

  private:
    void GiveBack(void* pBlock) {
        run_.Expect(library_.FreePoolSharedMemory(pBlock) == ZTK_SUCCESS, "the block is not taken back");
        char szName[ZTK_SHARED_NAME_SIZE];
        library_.AllocatePoolSharedMemory(UINT64_MAX, &pBlock, szName);  // nothing stays idle
    }

    Run& run_;
    test::Library library_;
};

/// The consumer's side: one object, made over and over.
class Consumer {
  public:
    explicit Consumer(Run& run) : run_(run), hObject_(shm_open(kName, O_RDWR | O_CREAT, 0600)) {
        if (hObject_ < 0) std::abort();
    }
    ~Consumer() {
        close(hObject_);
        shm_unlink(kName);
    }
    Consumer(const Consumer&) = delete;
    Consumer& operator=(const Consumer&) = delete;

    void Check(const HeaderBytes& header, std::uint64_t nObjectLen) {
        Write(header, nObjectLen);
        ZtkSharedView view;
        const ZtkViewStatus enStatus = ZtkOpenSharedView(kName, &view);
        ZtkViewStatus enExpected = JudgeConsumersView(header, kName, nObjectLen);
        if (enExpected == ZTK_VIEW_OK && nObjectLen > kMostMappable) enExpected = ZTK_VIEW_SYSTEM_ERROR;
        run_.Expect(enStatus == enExpected, "the consumer's view of %llu bytes: %s, expected: %s",
                    static_cast<unsigned long long>(nObjectLen), ZtkViewStatusText(enStatus),
                    ZtkViewStatusText(enExpected));
        if (enStatus == ZTK_VIEW_OK) {
            run_.Expect(view.nDataLen == nObjectLen - header.size(), "the consumer's data length");
        } else {
            run_.Expect(view.pData == nullptr && view.pMapping == nullptr, "a refused view is open");
        }
        ZtkCloseSharedView(&view);
        run_.CountRun();
    }

    HeaderBytes Good(std::uint64_t nObjectLen) const { return GoodHeader(kName, nObjectLen); }

  private:
    static constexpr char kName[] = "ZTKTool-1-00112233445566778899aabbccddeeff";
    static constexpr std::uint64_t kMostMappable = 1UL << 46;

    void Write(const HeaderBytes& header, std::uint64_t nObjectLen) const {
        const std::size_t nBytes = std::min<std::uint64_t>(nObjectLen, header.size());
        if (ftruncate(hObject_, static_cast<off_t>(nObjectLen)) != 0 ||
            pwrite(hObject_, header.data(), nBytes, 0) != static_cast<ssize_t>(nBytes)) {
            std::abort();
        }
    }

    Run& run_;
    const int hObject_;
};

HeaderBytes WithText(HeaderBytes header, const std::string& text) {
    std::copy(text.begin(), text.end(), header.begin() + kAtText);
    return header;
}

void CheckAllLengths(Owner& owner, Consumer& consumer) {
    for (std::uint64_t nHeaderLen = 0; nHeaderLen <= UINT16_MAX; ++nHeaderLen) {
        HeaderBytes header = consumer.Good(kSize);
        PutNumber(header, kAtHeaderLen, nHeaderLen, 2);
        owner.Check(header);
        consumer.Check(header, kSize);
    }
}

void CheckAllFlags(Owner& owner, Consumer& consumer) {
    for (const char* szText : {"", "MMZ_4096_0x10", "MMZ_-1_(nil)", "MMZ_1_", "text"}) {
        for (std::uint64_t nFlag = 0; nFlag <= UINT8_MAX; ++nFlag) {
            HeaderBytes header = WithText(consumer.Good(kSize), szText);
            header.at(kAtByMmz) = static_cast<unsigned char>(nFlag);
            owner.Check(header);
            consumer.Check(header, kSize);
        }
    }
}

void CheckLengthsOfObjects(Consumer& consumer) {
    for (std::uint64_t nLen = 0; nLen <= 256; ++nLen) {
        for (const std::uint64_t nClaimed :
             {nLen, nLen + 1, nLen - 1, std::uint64_t{128}, nLen + (1UL << 32)})
            consumer.Check(consumer.Good(nClaimed), nLen);
    }
    for (unsigned nBit = 9; nBit < 63; ++nBit) {
        const std::uint64_t nLen = 1UL << nBit;
        for (const std::uint64_t nClaimed : {nLen, nLen - 1, nLen + 1, UINT64_MAX, std::uint64_t{0}})
            consumer.Check(consumer.Good(nClaimed), nLen);
    }
}

void CheckAnything(Owner& owner, Consumer& consumer, TextMaker& texts) {
    HeaderBytes header = WithText(consumer.Good(kSize), texts.Next());
    header.at(kAtByMmz) = static_cast<unsigned char>(texts.Pick(3));
    for (std::uint64_t nBytes = texts.Pick(3); nBytes > 0; --nBytes)
        header.at(texts.Pick(header.size())) = static_cast<unsigned char>(texts.Pick(256));
    consumer.Check(header, kSize);
    owner.Check(header);
}

int Main(int nCount, char** ppArguments) {
    Run run(kPart, nCount, ppArguments, 150'000);
    if (!EnterPrivateShm()) return ReportSkipped(kPart, "this kernel refuses a /dev/shm of its own");
    TextMaker texts(run.Seed());
    Owner owner(run);
    {
        Consumer consumer(run);
        CheckAllFlags(owner, consumer);
        CheckLengthsOfObjects(consumer);
        CheckAllLengths(owner, consumer);
        do {
            CheckAnything(owner, consumer, texts);
        } while (run.GoesOn());
    }
    owner.End();
    return run.Finish();
}

}  // namespace
}  // namespace ztk::torture

int main(int nCount, char** ppArguments) {
    return ztk::torture::Main(nCount, ppArguments);
}
