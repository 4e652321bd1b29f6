#include "platform/Automation.h"

#include "platform/Text.h"
#include "platform/ThreadStart.h"
#include "platform/win32/AutomationValues.h"
#include "platform/win32/Wide.h"

#include <algorithm>
#include <deque>
#include <mutex>
#include <new>

namespace zutools::platform {

namespace {

// ---- objects of the system in our words

// A reference, and the object model of its thread, which must outlive it.
struct THeld {
    explicit THeld(TComPtr<IDispatch> AObject)
        : Object(std::move(AObject)) {}
    const TThreadStart Model{"automation"};
    const DWORD Thread = GetCurrentThreadId();
    TComPtr<IDispatch> Object;
};

// What was let go on another thread than its own waits here for its own one to come by.
class TWaiting {
public:
    void Add(std::unique_ptr<THeld> Held) {
        const std::scoped_lock Lock(FMutex);
        FHeld.push_back(std::move(Held));
    }
    void ReleaseOwn() {
        std::vector<std::unique_ptr<THeld>> Own; // released when the lock is gone
        const std::scoped_lock Lock(FMutex);
        for (std::unique_ptr<THeld>& Held : FHeld)
            if (Held->Thread == GetCurrentThreadId()) Own.push_back(std::move(Held));
        std::erase(FHeld, nullptr);
    }

private:
    std::mutex FMutex;
    std::deque<std::unique_ptr<THeld>> FHeld;
};

TWaiting& Waiting() {
    static auto& List = *new TWaiting; // never destroyed: objects of other statics may go after it
    return List;
}

GUID IID_Null() {
    return {};
}

std::u16string TextOf(EXCEPINFO& Raised) {
    if (Raised.pfnDeferredFillIn != nullptr) Raised.pfnDeferredFillIn(&Raised);
    TBstr Description, Source, Help;
    *Description.Place() = Raised.bstrDescription;
    *Source.Place() = Raised.bstrSource;
    *Help.Place() = Raised.bstrHelpFile;
    // Many objects tell a number only.
    const std::int32_t Code = Raised.scode != 0 ? Raised.scode : Raised.wCode;
    const std::u16string Text = Description.Text(), Number = AutomationErrorText(Code);
    if (Text.empty()) return Number;
    std::u16string Behind = Source.Text();
    if (Code != 0) {
        if (!Behind.empty()) Behind += u", ";
        Behind += Number;
    }
    return Behind.empty() ? Text : Text + u" [" + Behind + u"]";
}

class TComObject final : public TAutomationObject {
public:
    explicit TComObject(TComPtr<IDispatch> Object)
        : FHeld(std::make_unique<THeld>(std::move(Object))) {
        Waiting().ReleaseOwn();
    }
    ~TComObject() override {
        if (!IsOwnThread()) Waiting().Add(std::move(FHeld));
    }

    [[nodiscard]] std::optional<std::int32_t> FindMember(std::u16string_view Name) override {
        if (!IsOwnThread() || Name.find(u'\0') != Name.npos) return std::nullopt;
        const std::u16string Terminated(Name);
        LPOLESTR Text = const_cast<LPOLESTR>(Wide(Terminated.c_str()));
        DISPID Id = DISPID_UNKNOWN;
        if (FAILED(FHeld->Object->GetIDsOfNames(IID_Null(), &Text, 1, LOCALE_NEUTRAL, &Id)))
            return std::nullopt;
        return Id;
    }

    [[nodiscard]] TAutomationOutcome Invoke(std::int32_t Member, TInvokeKind Kind,
                                            std::span<const TAutomationValue> Args,
                                            bool WantResult) override {
        if (!IsOwnThread()) return AutomationRefusal(AutomationCode::WrongThread);
        std::vector<TVariant> Converted(Args.size());
        std::vector<VARIANT> Row(Args.size()); // borrows from the converted ones
        for (std::size_t I = 0; I < Args.size(); ++I) {
            ToVariant(Args[I], *Converted[I]);
            Row[I] = *Converted[I];
        }
        DISPPARAMS Params = {};
        Params.rgvarg = Row.data();
        Params.cArgs = static_cast<UINT>(Row.size());
        DISPID Put = DISPID_PROPERTYPUT;
        if (Kind == TInvokeKind::PropertyPut) {
            Params.rgdispidNamedArgs = &Put;
            Params.cNamedArgs = 1;
        }
        TVariant Result;
        EXCEPINFO Raised = {};
        UINT Wrong = 0;
        const bool Asked = WantResult && Kind != TInvokeKind::PropertyPut;
        const HRESULT Code =
            FHeld->Object->Invoke(Member, IID_Null(), LOCALE_NEUTRAL, static_cast<WORD>(Kind), &Params,
                                  Asked ? &Result : nullptr, &Raised, &Wrong);
        if (Code == DISP_E_EXCEPTION) return AutomationRefusal(Code, TextOf(Raised));
        if (FAILED(Code)) {
            std::u16string Text = AutomationErrorText(Code);
            if ((Code == DISP_E_TYPEMISMATCH || Code == DISP_E_PARAMNOTFOUND) && Wrong < Args.size())
                Text += u": argument " + Utf8ToUtf16(std::to_string(Args.size() - Wrong));
            return AutomationRefusal(Code, std::move(Text));
        }
        std::optional<TAutomationValue> Value = FromVariant(*Result);
        if (!Value) return AutomationRefusal(AutomationCode::BadType);
        return {Code, {}, std::move(*Value)};
    }

    [[nodiscard]] std::optional<TAutomationType> DescribeType() override {
        TComPtr<ITypeInfo> Info;
        if (!IsOwnThread() || FAILED(FHeld->Object->GetTypeInfo(0, LOCALE_NEUTRAL, Info.Place())) || !Info)
            return std::nullopt;
        TYPEATTR* Attributes = nullptr;
        if (FAILED(Info->GetTypeAttr(&Attributes))) return std::nullopt;
        const UINT Functions = Attributes->cFuncs, Variables = Attributes->cVars;
        Info->ReleaseTypeAttr(Attributes);
        TAutomationType Type;
        Type.Name = NameOf(*Info.Get(), MEMBERID_NIL);
        for (UINT I = 0; I < Functions; ++I) {
            FUNCDESC* Description = nullptr;
            if (FAILED(Info->GetFuncDesc(I, &Description))) continue;
            const MEMBERID Id = Description->memid;
            Info->ReleaseFuncDesc(Description);
            Type.Functions.push_back({NameOf(*Info.Get(), Id), Id});
        }
        for (UINT I = 0; I < Variables; ++I) {
            VARDESC* Description = nullptr;
            if (FAILED(Info->GetVarDesc(I, &Description))) continue;
            const MEMBERID Id = Description->memid;
            Info->ReleaseVarDesc(Description);
            Type.Variables.push_back({NameOf(*Info.Get(), Id), Id});
        }
        return Type;
    }

    [[nodiscard]] const TComPtr<IDispatch>& Dispatch() const { return FHeld->Object; }

private:
    [[nodiscard]] bool IsOwnThread() const { return FHeld->Thread == GetCurrentThreadId(); }

    static std::u16string NameOf(ITypeInfo& Info, MEMBERID Id) {
        TBstr Name;
        return SUCCEEDED(Info.GetDocumentation(Id, Name.Place(), nullptr, nullptr, nullptr))
                   ? Name.Text()
                   : std::u16string();
    }

    std::unique_ptr<THeld> FHeld;
};

// ---- our own objects as the system's

// Asked for by ourselves only, to know an object of our own that comes back.
constexpr GUID IID_OwnObject = {0x5b1d6f0c, 0x2f3e, 0x4b8e, {0x9d, 0x55, 0x0a, 0x41, 0x7e, 0xc3, 0x60, 0x12}};

// A type information with the object's members, so that those who look before they call find them.
TComPtr<ITypeInfo> MakeTypeInfo(const TAutomationType& Type) {
    TComPtr<ICreateTypeLib2> Library;
    TComPtr<ICreateTypeInfo> Info;
    if (FAILED(CreateTypeLib2(SYS_WIN64, L"zutools-object.tlb", Library.Place()))) return {};
    // A text that is changed in place: the call takes no constant one.
    std::u16string TypeName = Type.Name;
    if (FAILED(Library->CreateTypeInfo(Wide(TypeName.data()), TKIND_DISPATCH, Info.Place()))) return {};
    UINT Index = 0;
    for (const TAutomationMember& Member : Type.Functions) {
        FUNCDESC Description = {};
        Description.memid = Member.Id;
        Description.funckind = FUNC_DISPATCH;
        Description.invkind = INVOKE_FUNC;
        Description.callconv = CC_STDCALL;
        Description.elemdescFunc.tdesc.vt = VT_VARIANT;
        std::u16string Name = Member.Name;
        LPOLESTR Text = Wide(Name.data());
        if (FAILED(Info->AddFuncDesc(Index, &Description)) ||
            FAILED(Info->SetFuncAndParamNames(Index, &Text, 1)))
            return {};
        ++Index;
    }
    Index = 0;
    for (const TAutomationMember& Member : Type.Variables) {
        VARDESC Description = {};
        Description.memid = Member.Id;
        Description.varkind = VAR_DISPATCH;
        Description.elemdescVar.tdesc.vt = VT_VARIANT;
        std::u16string Name = Member.Name;
        if (FAILED(Info->AddVarDesc(Index, &Description)) ||
            FAILED(Info->SetVarName(Index, Wide(Name.data()))))
            return {};
        ++Index;
    }
    TComPtr<ITypeInfo> Result;
    if (FAILED(Info->LayOut()) ||
        FAILED(Info->QueryInterface(IID_ITypeInfo, reinterpret_cast<void**>(Result.Place()))))
        return {};
    return Result;
}

class TExport final : public IDispatch {
public:
    explicit TExport(TAutomationPtr Object)
        : FObject(std::move(Object)) {}
    virtual ~TExport() = default;
    [[nodiscard]] const TAutomationPtr& Object() const { return FObject; }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID Id, void** Target) override {
        if (Target == nullptr) return E_POINTER;
        *Target = nullptr;
        if (IsEqualGUID(Id, IID_OwnObject)) {
            *Target = this; // not the interface: the object itself
        } else if (IsEqualGUID(Id, IID_IUnknown) || IsEqualGUID(Id, IID_IDispatch)) {
            *Target = static_cast<IDispatch*>(this);
        } else {
            return E_NOINTERFACE;
        }
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override {
        return static_cast<ULONG>(InterlockedIncrement(&FReferences));
    }
    ULONG STDMETHODCALLTYPE Release() override {
        const LONG Left = InterlockedDecrement(&FReferences);
        if (Left == 0) delete this;
        return static_cast<ULONG>(Left);
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* Count) override {
        if (Count == nullptr) return E_POINTER;
        *Count = TypeInfo() ? 1 : 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT Index, LCID, ITypeInfo** Target) override {
        if (Target == nullptr) return E_POINTER;
        *Target = nullptr;
        if (Index != 0) return DISP_E_BADINDEX;
        TComPtr<ITypeInfo> Info = TypeInfo();
        if (!Info) return TYPE_E_ELEMENTNOTFOUND;
        *Target = Info.Release();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* Names, UINT Count, LCID, DISPID* Ids) override {
        if (Names == nullptr || Ids == nullptr) return E_POINTER;
        if (Count == 0) return S_OK;
        std::fill_n(Ids, Count, DISPID_UNKNOWN);
        try {
            const auto Id = FObject->FindMember(Narrow(Names[0]));
            if (Id) Ids[0] = *Id;
            return Id && Count == 1 ? S_OK : DISP_E_UNKNOWNNAME; // arguments have no names
        } catch (const std::exception&) {
            return E_FAIL;
        }
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID Member, REFIID, LCID, WORD Flags, DISPPARAMS* Params,
                                     VARIANT* Result, EXCEPINFO* Raised, UINT* Wrong) override {
        if (Params == nullptr) return E_POINTER;
        const bool Put = (Flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) != 0;
        if (Params->cNamedArgs > (Put ? 1U : 0U)) return DISP_E_NONAMEDARGS;
        // Nothing may leave but a code: the caller is a stranger.
        try {
            std::vector<TAutomationValue> Args;
            for (UINT I = 0; I < Params->cArgs; ++I) {
                std::optional<TAutomationValue> Value = FromVariant(Params->rgvarg[I]);
                if (!Value) {
                    if (Wrong != nullptr) *Wrong = I;
                    return DISP_E_TYPEMISMATCH;
                }
                Args.push_back(std::move(*Value));
            }
            const TInvokeKind Kind =
                Put ? TInvokeKind::PropertyPut
                    : static_cast<TInvokeKind>(Flags & (DISPATCH_METHOD | DISPATCH_PROPERTYGET));
            const TAutomationOutcome Outcome = FObject->Invoke(Member, Kind, Args, Result != nullptr);
            if (!Outcome.Done() && Outcome.Code != DISP_E_EXCEPTION) return Outcome.Code;
            if (!Outcome.Done()) return Raise(Raised, Outcome.Text);
            if (Result == nullptr) return S_OK;
            VariantInit(Result);
            ToVariant(Outcome.Value, *Result);
            return S_OK;
        } catch (const std::bad_alloc&) {
            return E_OUTOFMEMORY;
        } catch (const std::exception& Error) {
            return Raise(Raised, Utf8ToUtf16(Error.what()));
        }
    }

private:
    static HRESULT Raise(EXCEPINFO* Raised, std::u16string_view Text) {
        if (Raised == nullptr) return DISP_E_EXCEPTION;
        *Raised = {};
        Raised->scode = E_FAIL;
        Raised->bstrSource = SysAllocString(L"ZuTools");
        Raised->bstrDescription = SysAllocStringLen(Wide(Text.data()), static_cast<UINT>(Text.size()));
        return DISP_E_EXCEPTION;
    }
    TComPtr<ITypeInfo> TypeInfo() {
        try {
            if (!FTypeInfo)
                if (const auto Type = FObject->DescribeType()) FTypeInfo = MakeTypeInfo(*Type);
        } catch (const std::exception&) {
            return {};
        }
        return FTypeInfo;
    }

    LONG FReferences = 1;
    const TAutomationPtr FObject;
    TComPtr<ITypeInfo> FTypeInfo;
};

} // namespace

TAutomationPtr FromDispatch(TComPtr<IDispatch> Object) {
    if (!Object) return nullptr;
    void* Own = nullptr;
    if (SUCCEEDED(Object->QueryInterface(IID_OwnObject, &Own)) && Own != nullptr) {
        const TComPtr<TExport> Export(static_cast<TExport*>(Own));
        return Export->Object();
    }
    return std::make_shared<TComObject>(std::move(Object));
}

TComPtr<IDispatch> ToDispatch(const TAutomationPtr& Object) {
    if (Object == nullptr) return {};
    if (const auto* const Theirs = dynamic_cast<const TComObject*>(Object.get())) return Theirs->Dispatch();
    return TComPtr<IDispatch>(new TExport(Object));
}

TAutomationPtr CreateAutomationObject(std::u16string_view ProgramId) {
    const TThreadStart Model("automation");
    const auto Check = [ProgramId](HRESULT Code) {
        if (FAILED(Code))
            throw TAutomationFailure(u"Cannot create the automation object \"" + Masked(ProgramId) + u"\": " +
                                     AutomationErrorText(Code));
    };
    Check(ProgramId.find(u'\0') != ProgramId.npos ? CO_E_CLASSSTRING : S_OK);
    CLSID Class = {};
    Check(CLSIDFromProgID(Wide(std::u16string(ProgramId).c_str()), &Class));
    TComPtr<IDispatch> Object;
    Check(CoCreateInstance(Class, nullptr, CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER, IID_IDispatch,
                           reinterpret_cast<void**>(Object.Place())));
    return FromDispatch(std::move(Object));
}

} // namespace zutools::platform
