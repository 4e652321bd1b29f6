#include "platform/Html.h"

#include "platform/ThreadStart.h"
#include "platform/win32/AutomationValues.h"

#include <mshtml.h>

namespace zutools::platform {

namespace {

// MinGW's import libraries lack it.
constexpr CLSID HtmlDocument = {0x25336920, 0x03f9, 0x11cf, {0x8f, 0xd0, 0x00, 0xaa, 0x00, 0x68, 0x6f, 0x13}};

void Check(HRESULT Code) {
    if (FAILED(Code))
        throw TAutomationFailure(u"Cannot read the HTML document: " + AutomationErrorText(Code));
}

} // namespace

TAutomationPtr ParseHtml(std::u16string_view Text, const THtmlLimits& Limits) {
    if (Text.size() > Limits.Bytes) {
        throw TAutomationFailure(u"Cannot read the HTML document: it has more than " +
                                 Utf8ToUtf16(std::to_string(Limits.Bytes)) + u" characters");
    }
    const TThreadStart Model("automation"); // until the object below keeps it
    TComPtr<IHTMLDocument2> Document;
    Check(CoCreateInstance(HtmlDocument, nullptr, CLSCTX_INPROC_SERVER, IID_IHTMLDocument2,
                           reinterpret_cast<void**>(Document.Place())));
    const TAutomationPtr Object = FromDispatch(TComPtr<IDispatch>(TComPtr(Document).Release()));
    // Design mode: the page is only looked at, so none of its scripts may run.
    Check(Document->put_designMode(TBstr(u"on").Get()));
    SAFEARRAY* const Pieces = SafeArrayCreateVector(VT_VARIANT, 0, 1);
    if (Pieces == nullptr) Check(E_OUTOFMEMORY);
    VARIANT* Piece = nullptr;
    HRESULT Code = SafeArrayAccessData(Pieces, reinterpret_cast<void**>(&Piece));
    if (SUCCEEDED(Code)) {
        ToVariant(TAutomationValue(Text), *Piece);
        SafeArrayUnaccessData(Pieces);
        Code = Document->write(Pieces);
    }
    SafeArrayDestroy(Pieces);
    Check(Code);
    Check(Document->close());
    return Object;
}

} // namespace zutools::platform
