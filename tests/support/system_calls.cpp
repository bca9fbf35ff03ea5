#include "support/system_calls.h"

#include <list>
#include <utility>

#include "support/interception.h"
#include "support/real_calls.h"

namespace ztk::test {

std::array<CallState, kWrappedNames.size()> g_callStates;

namespace {

struct Plan {
    std::size_t nCall;
    int nOccurrence;  ///< how many calls from now; 0: every one
    int nErrno;
    std::function<void()> action;  ///< if any, instead of a failure
};

struct Book {
    RealMutex mutex;
    std::list<Plan> plans;
    std::array<bool, kWrappedNames.size()> recorded{};
    std::vector<std::string> calls;
    bool bMmapFailsWithMarker = false;
};

Book& TheBook() {
    static auto* pBook = new Book;  // outlives every thread and destructor
    return *pBook;
}

void Watch(std::size_t nCall) {
    g_callStates[nCall].bWatched.store(true, std::memory_order_relaxed);
}

void AddPlan(const std::string& name, int nOccurrence, int nErrno, std::function<void()> action) {
    const std::size_t nCall = IndexOf(name);
    Book& book = TheBook();
    const std::lock_guard lock(book.mutex);
    book.plans.push_back({nCall, nOccurrence, nErrno, std::move(action)});
    Watch(nCall);
}

void Note(Book& book, std::size_t nCall, const std::string& arguments) {
    if (!book.recorded[nCall]) return;
    std::string line(kWrappedNames[nCall]);
    if (!arguments.empty()) line += ' ' + arguments;
    book.calls.push_back(std::move(line));
}

/// Takes what is due at this call off the plans.
std::list<Plan> TakeDue(std::list<Plan>& plans, std::size_t nCall) {
    std::list<Plan> due;
    for (auto it = plans.begin(); it != plans.end();) {
        const auto plan = it++;
        if (plan->nCall != nCall) continue;
        if (plan->nOccurrence == 0) {
            due.push_back(*plan);
        } else if (--plan->nOccurrence == 0) {
            due.splice(due.end(), plans, plan);
        }
    }
    return due;
}

}  // namespace

std::optional<int> Judge(std::size_t nCall, const std::string& arguments) {
    Book& book = TheBook();
    std::list<Plan> due;
    {
        const std::lock_guard lock(book.mutex);
        Note(book, nCall, arguments);
        due = TakeDue(book.plans, nCall);
    }
    std::optional<int> failure;
    for (const Plan& plan : due) {
        if (plan.action) {
            plan.action();
        } else if (!failure) {
            failure = plan.nErrno;
        }
    }
    return failure;
}

bool MmapFailsWithMarker() {
    Book& book = TheBook();
    const std::lock_guard lock(book.mutex);
    return book.bMmapFailsWithMarker;
}

void SystemCalls::Reset() {
    Book& book = TheBook();
    const std::lock_guard lock(book.mutex);
    book.plans.clear();
    book.recorded.fill(false);
    book.calls.clear();
    book.bMmapFailsWithMarker = false;
    for (CallState& state : g_callStates) {
        state.nCount.store(0, std::memory_order_relaxed);
        state.bWatched.store(false, std::memory_order_relaxed);
    }
}

void SystemCalls::Fail(const std::string& name, int nOccurrence, int nErrno) {
    AddPlan(name, nOccurrence, nErrno, nullptr);
}

void SystemCalls::FailMmapWithMarker() {
    Book& book = TheBook();
    const std::lock_guard lock(book.mutex);
    book.bMmapFailsWithMarker = true;
}

void SystemCalls::Before(const std::string& name, int nOccurrence, std::function<void()> action) {
    AddPlan(name, nOccurrence, 0, std::move(action));
}

void SystemCalls::Record(const std::vector<std::string>& names) {
    Book& book = TheBook();
    const std::lock_guard lock(book.mutex);
    for (const std::string& name : names) {
        book.recorded[IndexOf(name)] = true;
        Watch(IndexOf(name));
    }
}

std::vector<std::string> SystemCalls::Recorded() {
    Book& book = TheBook();
    const std::lock_guard lock(book.mutex);
    return book.calls;
}

int SystemCalls::Count(const std::string& name) {
    return g_callStates[IndexOf(name)].nCount.load(std::memory_order_relaxed);
}

}  // namespace ztk::test
