// What every implementation of automation objects must do, as tables: a dictionary and an order, made by
// whoever has some. The reflected ones run everywhere, the system's own where there are any.

#pragma once

#include "scripting/Zucomole.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

namespace zutools::tests {

using platform::TAutomationNull;
using platform::TAutomationPtr;
using platform::TAutomationValue;

/// An object to test with, and what it stands on; no object: there is none here, `Missing` tells why.
struct TLateObject {
    TAutomationPtr Object;
    std::shared_ptr<void> Keeper{};
    std::string Missing{};
};

struct TLateMaker {
    const char* Name;
    std::function<TLateObject()>
        Dictionary;                     // Add, Exists, Item, Remove, RemoveAll, Count as Scripting.Dictionary
    std::function<TLateObject()> Order; // No = 5, Customer = "Анна", Paid = true, Nothing = null
};

inline void PrintTo(const TLateMaker& Maker, std::ostream* Stream) {
    *Stream << Maker.Name;
}

class LateObjects : public testing::TestWithParam<TLateMaker> {};

/// Arguments as people write them; calls take the last one first.
inline TAutomationValue Call(const TAutomationPtr& Object, std::u16string_view Name,
                             std::vector<TAutomationValue> Args = {}) {
    std::reverse(Args.begin(), Args.end());
    return ExecMethod(Object, Name, Args);
}

} // namespace zutools::tests
