// Objects that are used by the names of their members, late: the automation objects of Windows (`IDispatch`)
// behind our own words, and what behaves like one elsewhere.
//
//     const TAutomationPtr Files = CreateAutomationObject(u"Scripting.FileSystemObject");
//     if (const auto Id = Files->FindMember(u"GetTempName"))
//         const TAutomationOutcome Answer = Files->Invoke(*Id, TInvokeKind::Method, {});
//
// Whoever has objects of his own to be used so derives from TAutomationObject; given to an object of the
// system they are its `IDispatch`. An object belongs to the thread that got it and is used and let go there.

#pragma once

#include "platform/Text.h"

#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace zutools::platform {

class TAutomationObject;
using TAutomationPtr = std::shared_ptr<TAutomationObject>;

// ---- values

/// The null of databases and scripts, which is not "no value at all".
struct TAutomationNull {
    friend bool operator==(TAutomationNull, TAutomationNull) { return true; }
};

/// An amount with four decimals, exact.
struct TAutomationCurrency {
    std::int64_t TenThousandths = 0;
    friend bool operator==(TAutomationCurrency, TAutomationCurrency) = default;
};

/// Days since 1899-12-30 as the system counts them: the fraction is the time of day, also before that day, so
/// -1.25 is 1899-12-29T06:00.
struct TAutomationDate {
    double Days = 0;
    friend bool operator==(TAutomationDate, TAutomationDate) = default;
};

/// An error as a value: an argument that was left out, a cell that could not be computed.
struct TAutomationError {
    std::int32_t Code = 0;
    friend bool operator==(TAutomationError, TAutomationError) = default;
};

/// One value on its way to or from an object; the alternatives are what a variant of the system may hold.
/// Integers of all sizes come as Integer, or as Int64 when they need it. An array of several dimensions is an
/// array of arrays.
class TAutomationValue {
public:
    using TArray = std::vector<TAutomationValue>;
    using TData = std::variant<std::monostate, TAutomationNull, bool, std::int32_t, std::int64_t, double,
                               TAutomationCurrency, TAutomationDate, TAutomationError, std::u16string,
                               TAutomationPtr, TArray>;

    TAutomationValue() = default; // no value at all
    TAutomationValue(TAutomationNull Value)
        : FData(Value) {}
    TAutomationValue(bool Value)
        : FData(Value) {}
    TAutomationValue(std::int32_t Value)
        : FData(Value) {}
    TAutomationValue(std::int64_t Value)
        : FData(Value) {}
    TAutomationValue(double Value)
        : FData(Value) {}
    TAutomationValue(TAutomationCurrency Value)
        : FData(Value) {}
    TAutomationValue(TAutomationDate Value)
        : FData(Value) {}
    TAutomationValue(TAutomationError Value)
        : FData(Value) {}
    TAutomationValue(std::u16string Value)
        : FData(std::move(Value)) {}
    TAutomationValue(std::u16string_view Value)
        : FData(std::u16string(Value)) {}
    TAutomationValue(const char16_t* Value)
        : FData(std::u16string(Value)) {}
    TAutomationValue(TAutomationPtr Value) // may be null
        : FData(std::move(Value)) {}
    TAutomationValue(TArray Value)
        : FData(std::move(Value)) {}
    TAutomationValue(const void*) = delete; // a pointer must not turn into a boolean

    [[nodiscard]] const TData& Data() const { return FData; }
    template <class T>
    [[nodiscard]] const T* As() const {
        return std::get_if<T>(&FData);
    }
    /// Null, or no value at all.
    [[nodiscard]] bool IsNull() const {
        return std::holds_alternative<std::monostate>(FData) || As<TAutomationNull>() != nullptr;
    }
    /// The object; null for any other value.
    [[nodiscard]] TAutomationPtr Object() const {
        const TAutomationPtr* const Value = As<TAutomationPtr>();
        return Value != nullptr ? *Value : nullptr;
    }
    friend bool operator==(const TAutomationValue&, const TAutomationValue&) = default;

private:
    TData FData;
};

/// What the system counts from its day on, as evenly counted days, and back: they differ before 1899-12-30.
[[nodiscard]] double EvenDays(TAutomationDate Date);
[[nodiscard]] TAutomationDate DateOfEvenDays(double Days);

// ---- objects

enum class TInvokeKind : std::uint8_t {
    Method = 1,
    PropertyGet = 2,
    MethodOrPropertyGet = 3,
    PropertyPut = 4
};

/// Codes of refusal that every implementation gives; others are the object's own.
namespace AutomationCode {
constexpr std::int32_t Done = 0;
constexpr std::int32_t MemberNotFound = static_cast<std::int32_t>(0x80020003);
constexpr std::int32_t ArgumentLeftOut = static_cast<std::int32_t>(0x80020004);
constexpr std::int32_t TypeMismatch = static_cast<std::int32_t>(0x80020005);
constexpr std::int32_t UnknownName = static_cast<std::int32_t>(0x80020006);
constexpr std::int32_t BadType = static_cast<std::int32_t>(0x80020008);
constexpr std::int32_t Raised = static_cast<std::int32_t>(0x80020009); // the object raised an error
constexpr std::int32_t BadArgumentCount = static_cast<std::int32_t>(0x8002000E);
constexpr std::int32_t ObjectGone = static_cast<std::int32_t>(0x80010108);
constexpr std::int32_t WrongThread = static_cast<std::int32_t>(0x8001010E);
} // namespace AutomationCode

/// What came of a call.
struct TAutomationOutcome {
    std::int32_t Code = AutomationCode::Done; // negative: refused
    std::u16string Text;      // of a refusal, for people: the object's own text, or that of the code
    TAutomationValue Value{}; // what was returned; no value at all for a refusal

    [[nodiscard]] bool Done() const { return Code >= 0; }
};

/// A refusal; without a text of the object's own, the text of the code.
[[nodiscard]] TAutomationOutcome AutomationRefusal(std::int32_t Code, std::u16string Text = {});

/// The text of a code with the code behind it, "Unknown name (0x80020006)"; what the system has no text for
/// is "error 0x...". The same on every system for the codes above.
[[nodiscard]] std::u16string AutomationErrorText(std::int32_t Code);

struct TAutomationMember {
    std::u16string Name;
    std::int32_t Id = 0;
    friend bool operator==(const TAutomationMember&, const TAutomationMember&) = default;
};

/// What an object tells about its type, in the type's own order.
struct TAutomationType {
    std::u16string Name;
    std::vector<TAutomationMember>
        Functions; // an object of the system lists accessors of properties here too
    std::vector<TAutomationMember> Variables;
    friend bool operator==(const TAutomationType&, const TAutomationType&) = default;
};

class TAutomationObject {
public:
    TAutomationObject() = default;
    virtual ~TAutomationObject() = default;
    TAutomationObject(const TAutomationObject&) = delete;
    TAutomationObject& operator=(const TAutomationObject&) = delete;

    /// The id of a member; letter case does not count. Empty when there is none.
    [[nodiscard]] virtual std::optional<std::int32_t> FindMember(std::u16string_view Name) = 0;
    /// Calls a method, reads a property or writes one. `Args` in the order of the system's argument array:
    /// the last argument first; for a write the value is the first. What an object raises comes as a refusal.
    /// May block as long as the object does. An implementation of our own may raise what its user must see.
    [[nodiscard]] virtual TAutomationOutcome Invoke(std::int32_t Member, TInvokeKind Kind,
                                                    std::span<const TAutomationValue> Args,
                                                    bool WantResult = true) = 0;
    /// Empty when the object tells nothing of its type.
    [[nodiscard]] virtual std::optional<TAutomationType> DescribeType() = 0;
};

/// An object that cannot be had.
class TAutomationFailure : public std::exception {
public:
    explicit TAutomationFailure(std::u16string Message)
        : FMessage(std::move(Message))
        , FUtf8(Utf16ToUtf8(FMessage)) {}
    [[nodiscard]] const std::u16string& Message() const { return FMessage; }
    [[nodiscard]] const char* what() const noexcept override { return FUtf8.c_str(); }

private:
    std::u16string FMessage;
    std::string FUtf8;
};

/// A new object of the system by its program id, "Scripting.Dictionary"; it keeps the object model of the
/// calling thread alive as long as it lives.
/// @throws TAutomationFailure naming the id: it is unknown, its program does not start, it is no automation
///         object, or the system has no automation objects.
[[nodiscard]] TAutomationPtr CreateAutomationObject(std::u16string_view ProgramId);

} // namespace zutools::platform
