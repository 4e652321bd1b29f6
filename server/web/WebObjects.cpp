#include "server/web/WebObjects.h"

#include "host/Exception.h"
#include "host/Format.h"
#include "platform/Text.h"
#include "platform/TextTools.h"
#include "server/lua/Escape.h"
#include "server/web/HttpText.h"

#include <algorithm>
#include <array>

namespace zutools::server {

namespace {

using platform::EqualAsciiNoCase;

std::u16string Widened(std::string_view Ascii) {
    return {Ascii.begin(), Ascii.end()};
}

bool SameHeader(std::string_view Left, std::string_view Right) {
    return EqualAsciiNoCase(Widened(Left), Widened(Right));
}

/// Text as ASCII; empty optional when it holds anything else.
std::optional<std::string> Narrowed(std::u16string_view Text) {
    std::string Ascii;
    for (const char16_t Character : Text) {
        if (Character >= 0x80) return std::nullopt;
        Ascii += static_cast<char>(Character);
    }
    return Ascii;
}

/// A file by 0-based index or by field name.
const TWebFile& FileOf(TObject& Target, TScriptArgs Args) {
    const auto& Items = static_cast<TWebFiles&>(Target).Items;
    if (Args[0].IsString()) {
        const std::u16string Name = Args[0].AsString();
        const auto Found = std::ranges::find_if(
            Items, [&](const TWebFile& File) { return EqualAsciiNoCase(File.Name, Name); });
        if (Found == Items.end())
            throw EIObjectError(Format(u"No file was sent in the field \"%s\".", {Name}));
        return *Found;
    }
    const int Index = Args[0].AsInteger();
    if (Index < 0 || static_cast<std::size_t>(Index) >= Items.size()) {
        throw EIObjectError(Format(u"File index out of bounds (%d).", {Index}));
    }
    return Items[static_cast<std::size_t>(Index)];
}

std::u16string ContentAsText(const TWebFile& File) {
    auto Text = DecodeUtf8(File.Content);
    if (!Text) throw EIObjectError(Format(u"The file in the field \"%s\" is no UTF-8 text.", {File.Name}));
    if (Text->starts_with(platform::ByteOrderMark)) Text->erase(0, 1);
    return std::move(*Text);
}

template <auto Field>
TKXVariant TextField(TObject& Target, TScriptArgs) {
    return static_cast<TWebRequest&>(Target).*Field;
}

TWebResponse& ResponseOf(TObject& Target) {
    return static_cast<TWebResponse&>(Target);
}

constexpr TScriptMember FilesNames[] = {
    ScriptProperty(
        u"Count", 0,
        [](TObject& Target, TScriptArgs) -> TKXVariant {
            return static_cast<int>(static_cast<TWebFiles&>(Target).Items.size());
        },
        nullptr, u"how many files were sent"),
    ScriptProperty(
        u"Name", 1, [](TObject& Target, TScriptArgs Args) -> TKXVariant { return FileOf(Target, Args).Name; },
        nullptr, u"the form's field of a file, by its index from 0 or its field, as the next ones"),
    ScriptProperty(
        u"FileName", 1,
        [](TObject& Target, TScriptArgs Args) -> TKXVariant { return FileOf(Target, Args).FileName; },
        nullptr, u"its name as the browser gave it, without folders"),
    ScriptProperty(
        u"ContentType", 1,
        [](TObject& Target, TScriptArgs Args) -> TKXVariant { return FileOf(Target, Args).ContentType; },
        nullptr, u"its kind as the browser gave it: a claim"),
    ScriptProperty(
        u"Size", 1,
        [](TObject& Target, TScriptArgs Args) -> TKXVariant {
            return static_cast<std::int64_t>(FileOf(Target, Args).Content.size());
        },
        nullptr, u"its bytes"),
    ScriptProperty(
        u"Content", 1,
        [](TObject& Target, TScriptArgs Args) -> TKXVariant { return ContentAsText(FileOf(Target, Args)); },
        nullptr, u"its text, which must be UTF-8; a byte-order mark is left out"),
    ScriptProperty(
        u"ContentBase64", 1,
        [](TObject& Target, TScriptArgs Args) -> TKXVariant {
            return Widened(Base64Text(FileOf(Target, Args).Content));
        },
        nullptr, u"its bytes as Base64"),
};

constexpr TScriptMember ParamsNames[] = {
    ScriptProperty(
        u"Values", 1,
        [](TObject& Target, TScriptArgs Args) {
            auto& Params = static_cast<TWebParams&>(Target);
            const std::u16string Name = Args[0].AsString();
            Params.Found.Items.clear();
            // The form wins, as for Value.
            for (const auto* Fields : {&Params.FormFields, &Params.QueryFields}) {
                for (const TFormField& Field : *Fields)
                    if (EqualAsciiNoCase(Field.Name, Name)) Params.Found.Items.push_back(Field.Value);
                if (!Params.Found.Items.empty()) break;
            }
            return PointerAsLVar(&Params.Found);
        },
        nullptr, u"a table of all values of a name, in their order; empty when it was not sent"),
};

constexpr TScriptMember RequestNames[] = {
    ScriptProperty(
        u"Params", 0,
        [](TObject& Target, TScriptArgs) { return PointerAsLVar(&static_cast<TWebRequest&>(Target).Params); },
        nullptr, u"the TParamsList of the query and of the form, which wins"),
    ScriptProperty(
        u"Files", 0,
        [](TObject& Target, TScriptArgs) { return PointerAsLVar(&static_cast<TWebRequest&>(Target).Files); },
        nullptr, u"the TWebFiles that came with the form"),
    ScriptProperty(u"Body", 0, TextField<&TWebRequest::Body>, nullptr,
                   u"what was sent, as text: JSON for zu.parse_json, or a form that holds no files"),
    ScriptProperty(u"Method", 0, TextField<&TWebRequest::Method>, nullptr, u"GET, HEAD or POST"),
    ScriptProperty(u"Path", 0, TextField<&TWebRequest::Path>, nullptr, u"what was asked for, decoded"),
    ScriptProperty(u"Language", 0, TextField<&TWebRequest::Language>, nullptr,
                   u"the language that the page is to be in"),
    ScriptProperty(u"FormToken", 0, TextField<&TWebRequest::FormToken>, nullptr,
                   u"for the hidden field form_token of forms that write"),
    ScriptProperty(u"RemoteAddress", 0, TextField<&TWebRequest::RemoteAddress>, nullptr,
                   u"the address of the other side"),
    ScriptProperty(
        u"FormTokenGood", 0,
        [](TObject& Target, TScriptArgs) -> TKXVariant {
            return static_cast<TWebRequest&>(Target).FormTokenGood;
        },
        nullptr, u"whether the form brought the session's token"),
    ScriptFunction(
        u"Header", 1,
        [](TObject& Target, TScriptArgs Args) -> TKXVariant {
            const std::string Name = platform::Utf16ToUtf8(Args[0].AsString());
            if (SameHeader(Name, "Cookie")) return u"";
            return platform::Utf8ToUtf16(static_cast<TWebRequest&>(Target).FindHeader(Name));
        },
        u"(name): a header of the request; empty when it was not sent"),
};

constexpr TScriptMember ResponseNames[] = {
    ScriptProcedure(
        u"Write", 1,
        [](TObject& Target, TScriptArgs Args) {
            if (Args[0].Kind() == TVariantKind::vkString) {
                ResponseOf(Target).Write(Args[0].StringView());
            } else {
                ResponseOf(Target).Write(Args[0].AsString());
            }
        },
        u"(text): appends to the page"),
    ScriptProperty(
        u"Status", 0, [](TObject& Target, TScriptArgs) -> TKXVariant { return ResponseOf(Target).Status(); },
        [](TObject& Target, TScriptArgs, const TKXVariant& Value) {
            ResponseOf(Target).SetStatus(Value.AsInteger());
        },
        u"the number that tells the outcome, 200 to 599; 200 when nothing is set"),
    ScriptProperty(
        u"ContentType", 0,
        [](TObject& Target, TScriptArgs) -> TKXVariant { return Widened(ResponseOf(Target).ContentType()); },
        [](TObject& Target, TScriptArgs, const TKXVariant& Value) {
            ResponseOf(Target).SetContentType(Value.AsString());
        },
        u"the kind of the page; text/html in UTF-8 when nothing is set"),
    ScriptProcedure(
        u"Redirect", 1,
        [](TObject& Target, TScriptArgs Args) { ResponseOf(Target).Redirect(Args[0].AsString(), false); },
        u"(address): sends the browser on to a page of this host"),
    ScriptProcedure(
        u"RedirectOutside", 1,
        [](TObject& Target, TScriptArgs Args) { ResponseOf(Target).Redirect(Args[0].AsString(), true); },
        u"(address): sends the browser on to any page"),
    ScriptProcedure(
        u"SetHeader", 2,
        [](TObject& Target, TScriptArgs Args) {
            ResponseOf(Target).SetHeader(Args[0].AsString(), Args[1].AsString());
        },
        u"(name, value): a header of the answer"),
    ScriptProcedure(
        u"Refuse", 2,
        [](TObject& Target, TScriptArgs Args) {
            ResponseOf(Target).Refuse(Args[0].AsInteger(), Args[1].AsString());
        },
        u"(status, note): ends the page with a plain one, for requests that no page sends: status 400 to "
        u"499"),
};

} // namespace

const TClassInfo& TWebFiles::StaticClass() {
    static constexpr TClassInfo Info{.Name = u"TWebFiles",
                                     .Parent = &TIObject::StaticClass,
                                     .Script = FilesNames,
                                     .Help = u"The files that came with a form."};
    return Info;
}

const TClassInfo& TWebFiles::ClassInfo() const {
    return StaticClass();
}

const TClassInfo& TWebParams::StaticClass() {
    static constexpr TClassInfo Info{.Name = u"TWebParams",
                                     .Parent = &TParamsList::StaticClass,
                                     .Script = ParamsNames,
                                     .Help = u"The fields of a request."};
    return Info;
}

const TClassInfo& TWebParams::ClassInfo() const {
    return StaticClass();
}

const TClassInfo& TWebRequest::StaticClass() {
    static constexpr TClassInfo Info{
        .Name = u"TWebRequest",
        .Parent = &TIObject::StaticClass,
        .Script = RequestNames,
        .Global = {.Name = u"request", .Help = u"what was asked for, in modules"},
        .Help = u"What the browser asked for; gone with its page."};
    return Info;
}

const TClassInfo& TWebRequest::ClassInfo() const {
    return StaticClass();
}

const TClassInfo& TWebResponse::StaticClass() {
    static constexpr TClassInfo Info{.Name = u"TWebResponse",
                                     .Parent = &TIObject::StaticClass,
                                     .Script = ResponseNames,
                                     .Global = {.Name = u"response", .Help = u"the page to be, in modules"},
                                     .Help = u"The page that the module makes; gone with it."};
    return Info;
}

const TClassInfo& TWebResponse::ClassInfo() const {
    return StaticClass();
}

std::string_view TWebRequest::FindHeader(std::string_view Name) const {
    const auto Found =
        std::ranges::find_if(Headers, [&](const auto& Header) { return SameHeader(Header.first, Name); });
    return Found == Headers.end() ? std::string_view{} : std::string_view(Found->second);
}

void TWebResponse::Write(std::u16string_view Text) {
    const auto Encoded = platform::Utf16ToUtf8Strict(Text);
    if (Encoded.Error) {
        throw EIObjectError(
            Format(u"Write: an unpaired surrogate at position %d.", {Encoded.Error->Offset + 1}));
    }
    if (Encoded.Text.size() > FMaxBytes - FBody.size()) {
        throw EIObjectError(Format(u"Write: the page is larger than %d bytes.", {FMaxBytes}));
    }
    FBody += Encoded.Text;
}

void TWebResponse::SendBytes(std::string Bytes, std::u16string_view FileName,
                             std::u16string_view ContentType) {
    if (Bytes.size() > FMaxBytes)
        throw EIObjectError(Format(u"File: the answer is larger than %d bytes.", {FMaxBytes}));
    SetContentType(ContentType);
    if (!FileName.empty()) {
        SetHeader(u"Content-Disposition",
                  u"attachment; filename*=UTF-8''" + Widened(UrlEscape(platform::Utf16ToUtf8(FileName))));
    }
    FBody = std::move(Bytes);
}

void TWebResponse::SetStatus(int Value) {
    if (Value < 200 || Value > 599)
        throw EIObjectError(Format(u"Status: %d is not between 200 and 599.", {Value}));
    FStatus = Value;
}

void TWebResponse::SetContentType(std::u16string_view Value) {
    auto Ascii = Narrowed(Value);
    if (!Ascii || Ascii->empty() || !IsHeaderValue(*Ascii)) {
        throw EIObjectError(u"ContentType: the value must be printable ASCII.");
    }
    FContentType = std::move(*Ascii);
}

void TWebResponse::Redirect(std::u16string_view Url, bool Outside) {
    auto Location = RedirectLocation(Url, FHost, Outside);
    if (!Location) {
        throw EIObjectError(Outside ? u"RedirectOutside: the target is no address of a page."
                                    : u"Redirect: the target is no address of a page on this host.");
    }
    FStatus = 303;
    std::erase_if(FHeaders, [](const auto& Header) { return Header.first == "Location"; });
    FHeaders.emplace_back("Location", std::move(*Location));
}

void TWebResponse::Refuse(int Status, std::u16string_view Note) {
    if (Status < 400 || Status > 499)
        throw EIObjectError(Format(u"Refuse: %d is not between 400 and 499.", {Status}));
    FRefused = {Status, std::u16string(Note)};
    throw EIObjectError(u"the request was refused: " + FRefused.Note);
}

void TWebResponse::SetHeader(std::u16string_view Name, std::u16string_view Value) {
    // What frames the message, carries the session or has its own checked way.
    constexpr std::array<std::string_view, 8> Own{"Connection",        "Content-Length", "Date",
                                                  "Location",          "Set-Cookie",     "Set-Cookie2",
                                                  "Transfer-Encoding", "Upgrade"};
    auto AsciiName = Narrowed(Name);
    auto AsciiValue = Narrowed(Value);
    if (!AsciiName || !IsHeaderName(*AsciiName))
        throw EIObjectError(u"SetHeader: the name is no header name.");
    if (!AsciiValue || !IsHeaderValue(*AsciiValue)) {
        throw EIObjectError(Format(u"SetHeader: the value of \"%s\" must be printable ASCII.", {Name}));
    }
    if (std::ranges::any_of(Own, [&](std::string_view Header) { return SameHeader(Header, *AsciiName); })) {
        throw EIObjectError(Format(u"SetHeader: \"%s\" is the server's own.", {Name}));
    }
    if (SameHeader(*AsciiName, "Content-Type")) return SetContentType(Value);
    std::erase_if(FHeaders, [&](const auto& Header) { return SameHeader(Header.first, *AsciiName); });
    FHeaders.emplace_back(std::move(*AsciiName), std::move(*AsciiValue));
}

const std::string* TWebResponse::FindHeader(std::string_view Name) const {
    const auto Found =
        std::ranges::find_if(FHeaders, [&](const auto& Header) { return SameHeader(Header.first, Name); });
    return Found == FHeaders.end() ? nullptr : &Found->second;
}

} // namespace zutools::server
