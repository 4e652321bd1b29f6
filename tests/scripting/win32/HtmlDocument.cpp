// How a page is given to the document class of the system, watched from that class's place: Wine has no HTML
// engine.

#include "tests/scripting/LateSuite.h"

#include "platform/Html.h"
#include "platform/ThreadStart.h"
#include "platform/win32/AutomationValues.h"

#include <gmock/gmock.h>

#include <array>
#include <cstring>

#include <mshtml.h>

namespace zutools::tests {
namespace {

using platform::TComPtr;

constexpr CLSID DocumentClass = {
    0x25336920, 0x03f9, 0x11cf, {0x8f, 0xd0, 0x00, 0xaa, 0x00, 0x68, 0x6f, 0x13}};

// Where a method of an interface stands in its table: what a pointer to a virtual member holds.
template <class TMethod>
std::size_t SlotOf(TMethod Method) {
    std::uintptr_t Offset = 0;
    std::memcpy(&Offset, &Method, sizeof Offset);
    return (Offset - 1) / sizeof(void*);
}

// IHTMLDocument2 has 115 methods, of which a page needs three. What is late goes to an object of ours.
struct TDocument {
    const void* const* Table;
    TComPtr<IDispatch> Members;
    ULONG References = 0;
    std::u16string Calls;
    HRESULT WriteAnswer = S_OK;
};
TDocument* TheDocument = nullptr;

std::u16string Narrowed(BSTR Text) {
    return {reinterpret_cast<const char16_t*>(Text), SysStringLen(Text)};
}

HRESULT Refuse(TDocument*) {
    return E_NOTIMPL;
}
HRESULT QueryInterface(TDocument* Self, const IID& Id, void** Result) {
    const bool Known = Id == IID_IHTMLDocument2 || Id == IID_IDispatch || Id == IID_IUnknown;
    *Result = Known ? Self : nullptr;
    if (Known) ++Self->References;
    return Known ? S_OK : E_NOINTERFACE;
}
ULONG AddRef(TDocument* Self) {
    return ++Self->References;
}
ULONG Release(TDocument* Self) {
    return --Self->References;
}
HRESULT GetIDsOfNames(TDocument* Self, const IID& Id, wchar_t** Names, UINT Count, LCID Locale, DISPID* Ids) {
    return Self->Members->GetIDsOfNames(Id, Names, Count, Locale, Ids);
}
HRESULT Invoke(TDocument* Self, DISPID Member, const IID& Id, LCID Locale, WORD Flags, DISPPARAMS* Params,
               VARIANT* Result, EXCEPINFO* Info, UINT* Wrong) {
    return Self->Members->Invoke(Member, Id, Locale, Flags, Params, Result, Info, Wrong);
}
HRESULT SetDesignMode(TDocument* Self, BSTR Mode) {
    Self->Calls += u"design " + Narrowed(Mode) + u";";
    return S_OK;
}
HRESULT Write(TDocument* Self, SAFEARRAY* Pieces) {
    VARIANT* Piece = nullptr;
    LONG Last = -1;
    if (SafeArrayGetUBound(Pieces, 1, &Last) != S_OK || Last != 0) return E_INVALIDARG;
    if (SafeArrayAccessData(Pieces, reinterpret_cast<void**>(&Piece)) != S_OK) return E_INVALIDARG;
    const bool IsText = Piece->vt == VT_BSTR;
    if (IsText) Self->Calls += u"write " + Narrowed(Piece->bstrVal) + u";";
    SafeArrayUnaccessData(Pieces);
    return IsText ? Self->WriteAnswer : E_INVALIDARG;
}
HRESULT Close(TDocument* Self) {
    Self->Calls += u"close;";
    return S_OK;
}

using TTable = std::array<const void*, 128>;

TTable MakeTable() {
    TTable Table;
    Table.fill(reinterpret_cast<const void*>(&Refuse));
    const auto Set = [&Table](auto Method, auto Function) {
        Table.at(SlotOf(Method)) = reinterpret_cast<const void*>(Function);
    };
    Set(static_cast<HRESULT (IUnknown::*)(REFIID, void**)>(&IUnknown::QueryInterface), &QueryInterface);
    Set(&IUnknown::AddRef, &AddRef);
    Set(&IUnknown::Release, &Release);
    Set(&IDispatch::GetIDsOfNames, &GetIDsOfNames);
    Set(&IDispatch::Invoke, &Invoke);
    Set(&IHTMLDocument2::put_designMode, &SetDesignMode);
    Set(&IHTMLDocument2::write, &Write);
    Set(&IHTMLDocument2::close, &Close);
    return Table;
}

struct TFactory final : IClassFactory {
    virtual ~TFactory() = default;
    STDMETHOD(QueryInterface)(REFIID, void** Result) override {
        *Result = this;
        return S_OK;
    }
    STDMETHOD_(ULONG, AddRef)() override { return 2; }
    STDMETHOD_(ULONG, Release)() override { return 1; }
    STDMETHOD(CreateInstance)(IUnknown*, REFIID Id, void** Result) override {
        return tests::QueryInterface(TheDocument, Id, Result);
    }
    STDMETHOD(LockServer)(BOOL) override { return S_OK; }
};

TEST(HtmlDocument, APageIsWrittenWholeIntoADocumentThatRunsNothing) {
    const platform::TThreadStart Model("test");
    const TTable Table = MakeTable();
    const platform::TComPtr<IDispatch> Members =
        platform::ToDispatch(platform::CreateAutomationObject(u"Scripting.Dictionary"));
    TDocument Document{Table.data(), Members, 0, {}, S_OK};
    TheDocument = &Document;
    TFactory Factory;
    DWORD Registered = 0;
    ASSERT_EQ(
        CoRegisterClassObject(DocumentClass, &Factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &Registered),
        S_OK);
    const std::u16string Page(u"<p>чай\0</p>", 11);
    {
        const TAutomationPtr Object = platform::ParseHtml(Page);
        EXPECT_EQ(Document.Calls, u"design on;write " + Page + u";close;");
        EXPECT_EQ(GetPropertyValue(Object, u"Count", true), TAutomationValue(0)); // the rest is asked late
    }
    EXPECT_EQ(Document.References, 0U);

    Document.WriteAnswer = E_ACCESSDENIED;
    try {
        ADD_FAILURE() << "a refused page gave " << platform::ParseHtml(u"x").get();
    } catch (const platform::TAutomationFailure& Error) {
        EXPECT_THAT(Error.what(), testing::HasSubstr("Cannot read the HTML document: "));
    }
    EXPECT_EQ(Document.References, 0U);
    CoRevokeClassObject(Registered);
}

} // namespace
} // namespace zutools::tests
