// What the tests of the events share.
#pragma once

#include <gmock/gmock.h>

#include <cstdint>

#include "pevents/pevents.h"

namespace ztk::test {

constexpr int kTimedOut = 110;

/// An event with the life of a scope.
class OwnedEvent {
  public:
    OwnedEvent(bool bManualReset, bool bSet) : event_(neosmart::CreateEvent(bManualReset, bSet)) {}
    ~OwnedEvent() { neosmart::DestroyEvent(event_); }
    OwnedEvent(const OwnedEvent&) = delete;
    OwnedEvent& operator=(const OwnedEvent&) = delete;

    operator neosmart::neosmart_event_t() const { return event_; }  // NOLINT: stands for the event

  private:
    neosmart::neosmart_event_t event_;
};

constexpr bool kManualReset = true;
constexpr bool kAutoReset = false;
constexpr bool kSet = true;
constexpr bool kUnset = false;

}  // namespace ztk::test
