#include "platform/win32/AutomationValues.h"

#include "platform/win32/Wide.h"

#include <algorithm>
#include <limits>
#include <new>
#include <type_traits>

namespace zutools::platform {

TBstr::TBstr(std::u16string_view Text)
    : FText(SysAllocStringLen(Wide(Text.data()), static_cast<UINT>(Text.size()))) {
    if (FText == nullptr) throw std::bad_alloc();
}

std::u16string TBstr::Text() const {
    return FText == nullptr ? std::u16string() : std::u16string(Narrow(FText), SysStringLen(FText));
}

namespace {

TAutomationValue Whole(std::int64_t Value) {
    if (Value >= std::numeric_limits<std::int32_t>::min() &&
        Value <= std::numeric_limits<std::int32_t>::max())
        return static_cast<std::int32_t>(Value);
    return Value;
}

// The items below `Place`, which holds an index for each of the first `Depth` dimensions.
std::optional<TAutomationValue> FromArray(SAFEARRAY* Array, VARTYPE Type, std::vector<LONG>& Place,
                                          UINT Depth) {
    LONG Low = 0, High = -1;
    if (FAILED(SafeArrayGetLBound(Array, Depth + 1, &Low)) ||
        FAILED(SafeArrayGetUBound(Array, Depth + 1, &High)))
        return std::nullopt;
    TAutomationValue::TArray Items;
    for (LONG Index = Low; Index <= High; ++Index) {
        Place[Depth] = Index;
        std::optional<TAutomationValue> Item;
        if (Depth + 1 < Place.size()) {
            Item = FromArray(Array, Type, Place, Depth + 1);
        } else {
            TVariant Element;
            if (Type != VT_VARIANT) Element->vt = Type;
            void* const Target = Type == VT_VARIANT ? static_cast<void*>(&Element) : &Element->byref;
            if (FAILED(SafeArrayGetElement(Array, Place.data(), Target))) {
                Element->vt = VT_EMPTY;
                return std::nullopt;
            }
            Item = FromVariant(*Element);
        }
        if (!Item) return std::nullopt;
        Items.push_back(std::move(*Item));
    }
    return TAutomationValue(std::move(Items));
}

std::optional<TAutomationValue> FromArray(SAFEARRAY* Array) {
    if (Array == nullptr) return TAutomationValue(TAutomationValue::TArray());
    VARTYPE Type = VT_EMPTY;
    if (FAILED(SafeArrayGetVartype(Array, &Type)) || Type == VT_DECIMAL || Type == VT_RECORD)
        return std::nullopt;
    std::vector<LONG> Place(SafeArrayGetDim(Array));
    if (Place.empty()) return std::nullopt;
    return FromArray(Array, Type, Place, 0);
}

void ToArray(const TAutomationValue::TArray& Items, VARIANT& Target) {
    SAFEARRAY* const Array = SafeArrayCreateVector(VT_VARIANT, 0, static_cast<ULONG>(Items.size()));
    if (Array == nullptr) throw std::bad_alloc();
    Target.vt = VT_ARRAY | VT_VARIANT;
    Target.parray = Array; // from here on freed with the target
    for (LONG Index = 0; Index < static_cast<LONG>(Items.size()); ++Index) {
        TVariant Item;
        ToVariant(Items[static_cast<std::size_t>(Index)], *Item);
        if (FAILED(SafeArrayPutElement(Array, &Index, &Item))) throw std::bad_alloc();
    }
}

} // namespace

std::optional<TAutomationValue> FromVariant(const VARIANT& Value) {
    if ((Value.vt & VT_BYREF) != 0) {
        TVariant Copy;
        if (FAILED(VariantCopyInd(&Copy, const_cast<VARIANT*>(&Value)))) return std::nullopt;
        return FromVariant(*Copy);
    }
    if ((Value.vt & VT_ARRAY) != 0) return FromArray(Value.parray);
    switch (Value.vt) {
    case VT_EMPTY:
        return TAutomationValue();
    case VT_NULL:
        return TAutomationValue(TAutomationNull());
    case VT_BOOL:
        return TAutomationValue(Value.boolVal != VARIANT_FALSE);
    case VT_I1:
        return Whole(static_cast<signed char>(Value.cVal));
    case VT_UI1:
        return Whole(Value.bVal);
    case VT_I2:
        return Whole(Value.iVal);
    case VT_UI2:
        return Whole(Value.uiVal);
    case VT_I4:
    case VT_INT:
        return Whole(Value.lVal);
    case VT_UI4:
    case VT_UINT:
        return Whole(Value.ulVal);
    case VT_I8:
        return Whole(Value.llVal);
    case VT_UI8:
        if (Value.ullVal <= static_cast<ULONGLONG>(std::numeric_limits<std::int64_t>::max()))
            return Whole(static_cast<std::int64_t>(Value.ullVal));
        return TAutomationValue(static_cast<double>(Value.ullVal));
    case VT_R4:
        return TAutomationValue(static_cast<double>(Value.fltVal));
    case VT_R8:
        return TAutomationValue(Value.dblVal);
    case VT_DECIMAL: {
        DECIMAL Decimal = Value.decVal; // the call takes no constant one
        double Number = 0;
        if (FAILED(VarR8FromDec(&Decimal, &Number))) return std::nullopt;
        return TAutomationValue(Number);
    }
    case VT_CY:
        return TAutomationValue(TAutomationCurrency{Value.cyVal.int64});
    case VT_DATE:
        return TAutomationValue(TAutomationDate{Value.date});
    case VT_ERROR:
        return TAutomationValue(TAutomationError{Value.scode});
    case VT_BSTR:
        if (Value.bstrVal == nullptr) return TAutomationValue(std::u16string());
        return TAutomationValue(std::u16string(Narrow(Value.bstrVal), SysStringLen(Value.bstrVal)));
    case VT_DISPATCH:
    case VT_UNKNOWN: {
        if (Value.punkVal == nullptr) return TAutomationValue(TAutomationPtr());
        TComPtr<IDispatch> Object;
        if (FAILED(Value.punkVal->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(Object.Place()))))
            return std::nullopt;
        return TAutomationValue(FromDispatch(std::move(Object)));
    }
    default:
        return std::nullopt;
    }
}

void ToVariant(const TAutomationValue& Value, VARIANT& Target) {
    std::visit(
        [&Target](const auto& Held) {
            using T = std::decay_t<decltype(Held)>;
            if constexpr (std::is_same_v<T, std::monostate>) {
                Target.vt = VT_EMPTY;
            } else if constexpr (std::is_same_v<T, TAutomationNull>) {
                Target.vt = VT_NULL;
            } else if constexpr (std::is_same_v<T, bool>) {
                Target.vt = VT_BOOL;
                Target.boolVal = Held ? VARIANT_TRUE : VARIANT_FALSE;
            } else if constexpr (std::is_same_v<T, std::int32_t>) {
                Target.vt = VT_I4;
                Target.lVal = Held;
            } else if constexpr (std::is_same_v<T, std::int64_t>) {
                Target.vt = VT_I8;
                Target.llVal = Held;
            } else if constexpr (std::is_same_v<T, double>) {
                Target.vt = VT_R8;
                Target.dblVal = Held;
            } else if constexpr (std::is_same_v<T, TAutomationCurrency>) {
                Target.vt = VT_CY;
                Target.cyVal.int64 = Held.TenThousandths;
            } else if constexpr (std::is_same_v<T, TAutomationDate>) {
                Target.vt = VT_DATE;
                Target.date = Held.Days;
            } else if constexpr (std::is_same_v<T, TAutomationError>) {
                Target.vt = VT_ERROR;
                Target.scode = Held.Code;
            } else if constexpr (std::is_same_v<T, std::u16string>) {
                Target.bstrVal = TBstr(Held).Release();
                Target.vt = VT_BSTR;
            } else if constexpr (std::is_same_v<T, TAutomationPtr>) {
                Target.pdispVal = ToDispatch(Held).Release();
                Target.vt = VT_DISPATCH;
            } else {
                ToArray(Held, Target);
            }
        },
        Value.Data());
}

} // namespace zutools::platform
