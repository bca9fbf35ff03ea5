// What hands blocks out and takes them back: the library, one of its peers, or a floor.
//
// All go through the same virtual calls, so that what these cost cancels out of the ratios.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace bench {

class Subject {
  public:
    Subject() = default;
    Subject(const Subject&) = delete;
    Subject& operator=(const Subject&) = delete;
    virtual ~Subject() = default;

    virtual void* Take(std::size_t nSize) = 0;
    virtual void Return(void* pBlock, std::size_t nSize) = 0;
    /// Gives everything idle back to the system, where the subject keeps such.
    virtual void Flush() {}
};

/// Each returns null for a name it does not know. @p nLargest is the largest block that will be taken.
std::unique_ptr<Subject> MakeHeapSubject(const std::string& szName, std::size_t nLargest);
std::unique_ptr<Subject> MakeSharedSubject(const std::string& szName);
/// Also null where Boost was not there at build time.
std::unique_ptr<Subject> MakeBoostSubject(const std::string& szName, std::size_t nLargest);

/// Ends the process: a subject that fails has nothing to be compared.
[[noreturn]] void GiveUp(const char* szWhat);

}  // namespace bench
