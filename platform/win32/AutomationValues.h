// Values of automation objects on their way between our words and the system's VARIANT, and our own objects
// as the system's.

#pragma once

#include "platform/Automation.h"

#include <windows.h>

#include <oaidl.h>
#include <oleauto.h>

#include <utility>

namespace zutools::platform {

/// A reference to an object of the system.
template <class T>
class TComPtr {
public:
    TComPtr() = default;
    explicit TComPtr(T* Owned)
        : FObject(Owned) {}
    TComPtr(const TComPtr& Other)
        : FObject(Other.FObject) {
        if (FObject != nullptr) FObject->AddRef();
    }
    TComPtr(TComPtr&& Other) noexcept
        : FObject(std::exchange(Other.FObject, nullptr)) {}
    TComPtr& operator=(TComPtr Other) noexcept {
        std::swap(FObject, Other.FObject);
        return *this;
    }
    ~TComPtr() {
        if (FObject != nullptr) FObject->Release();
    }
    [[nodiscard]] T* Get() const { return FObject; }
    T* operator->() const { return FObject; }
    explicit operator bool() const { return FObject != nullptr; }
    /// Where a call puts the object that it gives.
    [[nodiscard]] T** Place() {
        *this = {};
        return &FObject;
    }
    [[nodiscard]] T* Release() { return std::exchange(FObject, nullptr); }

private:
    T* FObject = nullptr;
};

/// A VARIANT that is cleared at its end.
class TVariant {
public:
    TVariant() { VariantInit(&FValue); }
    ~TVariant() { VariantClear(&FValue); }
    TVariant(const TVariant&) = delete;
    TVariant& operator=(const TVariant&) = delete;
    VARIANT* operator&() { return &FValue; }
    VARIANT& operator*() { return FValue; }
    VARIANT* operator->() { return &FValue; }

private:
    VARIANT FValue;
};

/// A text of the system, freed at its end.
class TBstr {
public:
    TBstr() = default;
    explicit TBstr(std::u16string_view Text);
    ~TBstr() { SysFreeString(FText); }
    TBstr(const TBstr&) = delete;
    TBstr& operator=(const TBstr&) = delete;
    [[nodiscard]] BSTR Get() const { return FText; }
    [[nodiscard]] BSTR* Place() { return &FText; }
    [[nodiscard]] BSTR Release() { return std::exchange(FText, nullptr); }
    [[nodiscard]] std::u16string Text() const;

private:
    BSTR FText = nullptr;
};

/// Empty for a value that has no counterpart: a record, an object without late calls.
[[nodiscard]] std::optional<TAutomationValue> FromVariant(const VARIANT& Value);
/// Fills an empty VARIANT. @throws std::bad_alloc.
void ToVariant(const TAutomationValue& Value, VARIANT& Target);

/// An object of the system in our words; one of our own that comes back is itself again. Null for null.
[[nodiscard]] TAutomationPtr FromDispatch(TComPtr<IDispatch> Object);
/// The other way: an object of ours as the system's.
[[nodiscard]] TComPtr<IDispatch> ToDispatch(const TAutomationPtr& Object);

} // namespace zutools::platform
