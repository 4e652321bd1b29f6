// What a call raises, as text.

#pragma once

#include <gtest/gtest.h>

#include <exception>
#include <initializer_list>
#include <string>
#include <string_view>

namespace zutools::tests {

/// The message, in UTF-8, of the `TError` that `Call()` raises; "nothing raised" without one. A standard
/// exception of another class gives "another class: " and its message.
template <class TError, class TCall>
[[nodiscard]] std::string Raised(TCall&& Call) {
    try {
        static_cast<void>(Call());
    } catch (const TError& Error) {
        return Error.what();
    } catch (const std::exception& Error) {
        return std::string("another class: ") + Error.what();
    }
    return "nothing raised";
}

/// Fails unless `Call()` raises a `TError` (not merely something) with every one of the texts in its message.
template <class TError, class TCall>
void ExpectRaised(TCall&& Call, std::initializer_list<std::string_view> Parts = {}) {
    try {
        static_cast<void>(Call());
        ADD_FAILURE() << "nothing raised";
    } catch (const TError& Error) {
        const std::string_view Message = Error.what();
        for (const std::string_view Part : Parts)
            EXPECT_NE(Message.find(Part), Message.npos) << Part << "\nin: " << Message;
    } catch (const std::exception& Error) {
        ADD_FAILURE() << "another class: " << Error.what();
    }
}

} // namespace zutools::tests
