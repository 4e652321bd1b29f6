#include "scripting/AutomationValues.h"

#include "host/Exception.h"
#include "scripting/Reflected.h"

#include <variant>

namespace zutools {

using platform::TAutomationPtr;
using platform::TAutomationValue;

namespace {

[[noreturn]] void Fail(std::u16string_view What) {
    throw EVariantError(std::u16string(What) + u" of an automation object cannot be converted");
}

struct TFromAutomation {
    TKXVariant operator()(std::monostate) const { return {}; }
    TKXVariant operator()(platform::TAutomationNull) const { return {}; }
    TKXVariant operator()(bool Value) const { return Value; }
    TKXVariant operator()(std::int32_t Value) const { return static_cast<int>(Value); }
    TKXVariant operator()(std::int64_t Value) const { return Value; }
    TKXVariant operator()(double Value) const { return Value; }
    TKXVariant operator()(platform::TAutomationCurrency Value) const {
        return static_cast<double>(Value.TenThousandths) / 10'000;
    }
    TKXVariant operator()(platform::TAutomationDate Value) const {
        return TDateTime{platform::EvenDays(Value)};
    }
    TKXVariant operator()(platform::TAutomationError) const { Fail(u"An error"); }
    TKXVariant operator()(const std::u16string& Value) const { return Value; }
    TKXVariant operator()(const TAutomationPtr& Value) const {
        if (Value == nullptr) return PointerAsLVar(nullptr);
        TObject* const Target = ReflectedTarget(Value);
        if (Target == nullptr) Fail(u"An object");
        return PointerAsLVar(Target);
    }
    TKXVariant operator()(const TAutomationValue::TArray&) const { Fail(u"An array"); }
};

} // namespace

TKXVariant FromAutomation(const TAutomationValue& Value) {
    return std::visit(TFromAutomation(), Value.Data());
}

TAutomationValue ToAutomation(const TKXVariant& Value) {
    switch (Value.Kind()) {
    case TVariantKind::vkNull:
        return platform::TAutomationNull();
    case TVariantKind::vkInteger:
        return Value.AsInteger();
    case TVariantKind::vkInt64:
        return Value.AsInt64();
    case TVariantKind::vkFloat:
        return Value.AsFloat();
    case TVariantKind::vkDateTime:
        return platform::DateOfEvenDays(Value.AsDateTime().Days);
    case TVariantKind::vkBoolean:
    case TVariantKind::vkWordBool:
        return Value.AsBoolean();
    case TVariantKind::vkAnsiChar:
    case TVariantKind::vkWideChar:
    case TVariantKind::vkString:
    case TVariantKind::vkAnsiString:
        return Value.AsString();
    case TVariantKind::vkObject:
        break;
    }
    TObject* const Object = Value.AsObject();
    return Object != nullptr ? ReflectedObject(*Object) : TAutomationPtr();
}

} // namespace zutools
