// The place where the board's programs run: a /dev/shm and a /proc/meminfo of their own.
#pragma once

#include <cstdint>
#include <string>

namespace ztk_board {

/// A new folder for the board's files; it goes with this object.
class BoardFolder {
  public:
    BoardFolder();  ///< @throws std::system_error
    ~BoardFolder();
    BoardFolder(const BoardFolder&) = delete;
    BoardFolder& operator=(const BoardFolder&) = delete;

    std::string File(const char* szName) const { return path_ + "/" + szName; }

  private:
    std::string path_;
};

/// Puts this process into a mount namespace of its own (and a user namespace, where it may not have the first
/// alone), with an empty /dev/shm of @p nShm bytes and @p memInfo over /proc/meminfo. To be called while
/// there is one thread.
/// @throws std::runtime_error that says what the kernel refused
void EnterBoard(std::uint64_t nShm, const std::string& memInfo);

}  // namespace ztk_board
