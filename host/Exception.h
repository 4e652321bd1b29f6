// The root of every exception class of the library: a UTF-16 message for users, UTF-8 `what()` for C++
// callers.

#pragma once

#include <exception>
#include <memory>
#include <string>
#include <string_view>

namespace zutools {

/// Copying never allocates or throws: the texts are shared.
class Exception : public std::exception {
public:
    explicit Exception(std::u16string Message);

    [[nodiscard]] const std::u16string& Message() const noexcept { return FTexts->Message; }
    [[nodiscard]] const char* what() const noexcept override { return FTexts->Utf8.c_str(); }

private:
    struct TTexts {
        std::u16string Message;
        std::string Utf8;
    };
    std::shared_ptr<const TTexts> FTexts;
};

/// The message of any exception: `Message()` of ours, the decoded `what()` of others.
[[nodiscard]] std::u16string MessageOf(const std::exception& Error);

/// A value that does not convert to the type asked for.
class EVariantError : public Exception {
public:
    using Exception::Exception;
};

/// A placeholder of `Format` that its argument does not fit.
class EFormatError : public Exception {
public:
    using Exception::Exception;
};

/// A wrong call on a script object: unknown name, wrong number of arguments, read-only property, wrong
/// object.
class EIObjectError : public Exception {
public:
    using Exception::Exception;
};

} // namespace zutools
