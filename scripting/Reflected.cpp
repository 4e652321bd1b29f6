#include "scripting/Reflected.h"

#include "host/Exception.h"
#include "host/ScriptObjects.h"
#include "host/StringHelpers.h"
#include "scripting/AutomationValues.h"

#include <algorithm>
#include <variant>
#include <vector>

namespace zutools {

using platform::TAutomationOutcome;
using platform::TAutomationPtr;
using platform::TAutomationValue;
using platform::TInvokeKind;
namespace AutomationCode = platform::AutomationCode;

namespace {

bool Allows(TInvokeKind Kind, TInvokeKind Wanted) {
    return (static_cast<unsigned>(Kind) & static_cast<unsigned>(Wanted)) != 0;
}

TAutomationOutcome Answer(const TKXVariant& Value) {
    return {AutomationCode::Done, {}, ToAutomation(Value)};
}

class TReflectedObject final : public platform::TAutomationObject {
public:
    explicit TReflectedObject(TObject& Object)
        : FObject(Object.Reference())
        , FAlive(Object.KeepAlive())
        , FClass(Object.ClassInfo()) {
        for (const TClassInfo* Class = &FClass;; Class = &Class->Parent()) {
            for (const TScriptMember* Member : ScriptRegistry().Members(*Class)) Enter(Member->Name, *Member);
            if (Class->Parent == nullptr) break;
        }
        for (const TClassInfo* Class = &FClass;; Class = &Class->Parent()) {
            for (const TPropInfo& Property : Class->Properties) Enter(Property.Name, &Property);
            for (const TMethodInfo& Method : Class->Methods)
                if (Method.Visibility == TVisibility::mvPublished) Enter(Method.Name, &Method);
            if (Class->Parent == nullptr) break;
        }
    }

    [[nodiscard]] TObject* Target() const { return FObject.Get(); }

    [[nodiscard]] std::optional<std::int32_t> FindMember(std::u16string_view Name) override {
        const auto Found = std::find_if(FMembers.begin(), FMembers.end(),
                                        [Name](const TMember& Each) { return SameText(Each.Name, Name); });
        if (Found == FMembers.end()) return std::nullopt;
        return static_cast<std::int32_t>(Found - FMembers.begin()) + 1;
    }

    [[nodiscard]] TAutomationOutcome Invoke(std::int32_t Member, TInvokeKind Kind,
                                            std::span<const TAutomationValue> Args, bool) override {
        const auto Place = static_cast<std::size_t>(Member) - 1;
        if (Member < 1 || Place >= FMembers.size())
            return platform::AutomationRefusal(AutomationCode::MemberNotFound);
        TObject* const Object = FObject.Get();
        if (Object == nullptr) return platform::AutomationRefusal(AutomationCode::ObjectGone);
        try {
            std::vector<TKXVariant> Values;
            Values.reserve(Args.size());
            for (const TAutomationValue& Each : Args) Values.push_back(FromAutomation(Each));
            return std::visit([&](const auto& What) { return Call(*Object, What, Kind, Values); },
                              FMembers[Place].What);
        } catch (const EVariantError& Error) {
            return platform::AutomationRefusal(AutomationCode::TypeMismatch, Error.Message());
        } catch (const std::exception& Error) {
            return platform::AutomationRefusal(AutomationCode::Raised, MessageOf(Error));
        }
    }

    [[nodiscard]] std::optional<platform::TAutomationType> DescribeType() override {
        platform::TAutomationType Type{std::u16string(FClass.Name), {}, {}};
        for (std::size_t I = 0; I < FMembers.size(); ++I) {
            const TMember& Each = FMembers[I];
            auto& List = IsFunction(Each) ? Type.Functions : Type.Variables;
            List.push_back({std::u16string(Each.Name), static_cast<std::int32_t>(I) + 1});
        }
        return Type;
    }

private:
    using TWhat = std::variant<TScriptMember, const TPropInfo*, const TMethodInfo*>;
    struct TMember {
        std::u16string_view Name;
        TWhat What;
    };

    // The first of a name counts: registered before published, the most derived class before its bases.
    void Enter(std::u16string_view Name, TWhat What) {
        if (!FindMember(Name)) FMembers.push_back({Name, What});
    }

    static bool IsFunction(const TMember& Member) {
        if (const auto* const Script = std::get_if<TScriptMember>(&Member.What))
            return Script->Kind != TScriptMemberKind::smProperty;
        return std::holds_alternative<const TMethodInfo*>(Member.What);
    }

    // In all three the values run from the last argument to the first.
    static TAutomationOutcome Call(TObject& Object, const TScriptMember& Member, TInvokeKind Kind,
                                   std::vector<TKXVariant>& Values) {
        const bool IsProperty = Member.Kind == TScriptMemberKind::smProperty;
        std::reverse(Values.begin(), Values.end());
        if (Kind == TInvokeKind::PropertyPut && IsProperty && !Values.empty()) {
            if (Member.ReadOnly()) return platform::AutomationRefusal(AutomationCode::MemberNotFound);
            const TKXVariant Value = std::move(Values.back());
            Values.pop_back();
            if (!HasCount(Member, Values.size()))
                return platform::AutomationRefusal(AutomationCode::BadArgumentCount);
            Member.Write(Object, Values, Value);
            return {};
        }
        if (!Allows(Kind, IsProperty ? TInvokeKind::PropertyGet : TInvokeKind::Method))
            return platform::AutomationRefusal(AutomationCode::MemberNotFound);
        if (!HasCount(Member, Values.size()))
            return platform::AutomationRefusal(AutomationCode::BadArgumentCount);
        return Answer(Member.Invoke(Object, Values));
    }
    static bool HasCount(const TScriptMember& Member, std::size_t Count) {
        return Member.ArgCount < 0 || static_cast<std::size_t>(Member.ArgCount) == Count;
    }

    static TAutomationOutcome Call(TObject& Object, const TPropInfo* Property, TInvokeKind Kind,
                                   const std::vector<TKXVariant>& Values) {
        const bool IsWrite = Kind == TInvokeKind::PropertyPut;
        if (!IsWrite && !Allows(Kind, TInvokeKind::PropertyGet))
            return platform::AutomationRefusal(AutomationCode::MemberNotFound);
        if (IsWrite && Property->Set == nullptr)
            return platform::AutomationRefusal(AutomationCode::MemberNotFound);
        if (Values.size() != (IsWrite ? 1U : 0U))
            return platform::AutomationRefusal(AutomationCode::BadArgumentCount);
        if (!IsWrite) return Answer(Property->Get(Object));
        Property->Set(Object, Values.front());
        return {};
    }

    static TAutomationOutcome Call(TObject& Object, const TMethodInfo* Method, TInvokeKind Kind,
                                   const std::vector<TKXVariant>& Values) {
        if (!Allows(Kind, TInvokeKind::Method))
            return platform::AutomationRefusal(AutomationCode::MemberNotFound);
        if (Values.size() != Method->Params.size())
            return platform::AutomationRefusal(AutomationCode::BadArgumentCount);
        for (const TParamInfo& Param : Method->Params)
            if (Param.ByReference) return platform::AutomationRefusal(AutomationCode::BadType);
        return Answer(Method->Invoke(Object, Values));
    }

    const TObjectRef FObject;
    const std::shared_ptr<const void> FAlive;
    const TClassInfo& FClass;
    std::vector<TMember> FMembers;
};

} // namespace

TAutomationPtr ReflectedObject(TObject& Object) {
    return std::make_shared<TReflectedObject>(Object);
}

TObject* ReflectedTarget(const TAutomationPtr& Object) {
    const auto* const Reflected = dynamic_cast<const TReflectedObject*>(Object.get());
    return Reflected != nullptr ? Reflected->Target() : nullptr;
}

} // namespace zutools
