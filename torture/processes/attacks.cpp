#include "torture/processes/attacks.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

namespace ztk::torture {
namespace {

/// The object, open while this exists; another process may have removed it meanwhile.
class Opened {
  public:
    explicit Opened(const std::string& name, int nFlags = O_RDWR)
        : hObject_(shm_open(name.c_str(), nFlags, 0600)) {}
    ~Opened() {
        if (hObject_ >= 0) close(hObject_);
    }
    Opened(const Opened&) = delete;
    Opened& operator=(const Opened&) = delete;

    void SetLength(off_t nLen) const {
        const int nIgnored = ftruncate(hObject_, nLen);
        static_cast<void>(nIgnored);
    }

    off_t Length() const {
        struct stat status {};
        return fstat(hObject_, &status) == 0 ? status.st_size : 0;
    }

    void Write(const std::string& bytes, off_t nOffset) const {
        const ssize_t nIgnored = pwrite(hObject_, bytes.data(), bytes.size(), nOffset);
        static_cast<void>(nIgnored);
    }

  private:
    const int hObject_;
};

std::string Noise(std::mt19937_64& random, std::size_t nBytes) {
    std::string bytes(nBytes, '\0');
    for (char& c : bytes)
        c = static_cast<char>(random());
    return bytes;
}

void Empty(const std::string& name, std::mt19937_64& /*random*/) {
    Opened(name).SetLength(0);
}

void CutToHeader(const std::string& name, std::mt19937_64& /*random*/) {
    Opened(name).SetLength(128);
}

void Lengthen(const std::string& name, std::mt19937_64& random) {
    const Opened object(name);
    object.SetLength(object.Length() + static_cast<off_t>(random() % 100'000));
}

void Unlink(const std::string& name, std::mt19937_64& /*random*/) {
    shm_unlink(name.c_str());
}

void OverwriteHeader(const std::string& name, std::mt19937_64& random) {
    Opened(name).Write(Noise(random, 128), 0);
}

void ClaimMmz(const std::string& name, std::mt19937_64& /*random*/) {
    const Opened object(name);
    object.Write("\x01", 9);
    object.Write("MMZ_4096_0x1000", 96);
}

void ForbidAll(const std::string& name, std::mt19937_64& /*random*/) {
    chmod(("/dev/shm/" + name).c_str(), 0);
}

void Replace(const std::string& name, std::mt19937_64& random) {
    shm_unlink(name.c_str());
    const Opened other(name, O_RDWR | O_CREAT);
    other.Write(Noise(random, 64), 0);
}

/// Not by any mark that the sweep knows: such an object is nobody's from then on.
void Rename(const std::string& name, std::mt19937_64& /*random*/) {
    const std::string path = "/dev/shm/" + name;
    std::rename(path.c_str(), ("/dev/shm/renamed" + name.substr(name.size() / 2)).c_str());
}

}  // namespace

const std::array<Attack, 9> kAttacks = {{{"truncates it to nothing", Empty, true},
                                         {"truncates it to its header", CutToHeader, true},
                                         {"lengthens it", Lengthen, false},
                                         {"unlinks it", Unlink, false},
                                         {"overwrites its header", OverwriteHeader, false},
                                         {"makes its header describe MMZ", ClaimMmz, false},
                                         {"takes all permissions from it", ForbidAll, false},
                                         {"puts another in its place", Replace, false},
                                         {"renames it", Rename, false}}};

}  // namespace ztk::torture
