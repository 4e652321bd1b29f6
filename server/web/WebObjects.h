// The request and the response as scripts see them: `request.Params.Value["q"]`, `response:Write("...")`.
//
// Made for one page on a worker thread and gone after it; engines notice that and refuse handles that a
// script kept.

#pragma once

#include "core/Lparams.h"
#include "host/ScriptObjects.h"
#include "server/lua/SessionControl.h"
#include "server/web/HttpText.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zutools::server {

/// One uploaded file, in memory.
struct TWebFile {
    std::u16string Name;        // of the form's field
    std::u16string FileName;    // as the browser gave it, without folders
    std::u16string ContentType; // as the browser gave it: a claim
    std::string Content;
};

/// Script names: .Count, and by 0-based index or field name .Name[i], .FileName[i], .ContentType[i],
/// .Size[i], .Content[i] (its text, which must be UTF-8; a byte-order mark is left out), .ContentBase64[i]
/// (its bytes).
class TWebFiles : public TIObject {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    std::vector<TWebFile> Items;
};

/// The fields of a request; of several of one name the last one is the value, and Values has all.
class TWebParams : public TParamsList {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    std::vector<TFormField> QueryFields, FormFields; // as sent, in their order
    TTextList Found;                                 // the answer of the last Values
};

/// Script names: the fields below, and the function Header(name): a header's value, "" when it was not sent.
/// The Cookie header is never shown: it holds the session's secret.
class TWebRequest : public TIObject {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    TWebParams Params;            // of the query, then of the form, which wins; without the form token
    TWebFiles Files;              // uploaded with the form
    std::u16string Method;        // GET, HEAD or POST
    std::u16string Path;          // decoded
    std::u16string Language;      // what the page is to be in
    std::u16string FormToken;     // for the hidden field "form_token" of forms that write
    std::u16string RemoteAddress; // of the connection
    bool FormTokenGood = false;   // the form brought the session's token; routes without the check ask it

    std::u16string Body;                                      // of a form that is no upload, or of JSON
    std::vector<std::pair<std::string, std::string>> Headers; // as sent, not published
    TSessionControl* Session = nullptr;                       // of the page while it runs, not published

    /// A header as sent, ignoring the case of its name; empty when it is not there.
    [[nodiscard]] std::string_view FindHeader(std::string_view Name) const;
};

/// Script names: Write(text), .Status, .ContentType, Redirect(url), RedirectOutside(url), SetHeader(name,
/// value), Refuse(status, note).
class TWebResponse : public TIObject, public TByteAnswer {
public:
    /// `Host` is the request's Host header; a body of more than `MaxBytes` is refused.
    TWebResponse(std::string Host, std::size_t MaxBytes)
        : FHost(std::move(Host))
        , FMaxBytes(MaxBytes) {}

    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    /// Appends text, as UTF-8. @throws EIObjectError for an unpaired surrogate or a body that grows too
    /// large.
    void Write(std::u16string_view Text);
    void SendBytes(std::string Bytes, std::u16string_view FileName, std::u16string_view ContentType) override;
    /// 200 to 599. @throws EIObjectError.
    void SetStatus(int Value);
    [[nodiscard]] int Status() const { return FStatus; }
    /// @throws EIObjectError for anything but printable ASCII.
    void SetContentType(std::u16string_view Value);
    [[nodiscard]] const std::string& ContentType() const { return FContentType; }
    /// Sends the browser on with a GET (status 303). Within the same host, unless `Outside`.
    /// @throws EIObjectError for a target that leads elsewhere or is no URL.
    void Redirect(std::u16string_view Url, bool Outside);
    /// The request asks for what no page of the application would send: ends the page, which is answered with
    /// the status, 400 to 499, and the note on a plain page. @throws EIObjectError, always.
    [[noreturn]] void Refuse(int Status, std::u16string_view Note);
    struct TRefused {
        int Status = 0; // 0: was not
        std::u16string Note;
    };
    [[nodiscard]] const TRefused& Refused() const { return FRefused; }
    /// Replaces the header. @throws EIObjectError for a malformed name or value (a line break above all) and
    /// for the headers that are the server's own.
    void SetHeader(std::u16string_view Name, std::u16string_view Value);
    /// Null when it was not set.
    [[nodiscard]] const std::string* FindHeader(std::string_view Name) const;

    [[nodiscard]] const std::vector<std::pair<std::string, std::string>>& Headers() const { return FHeaders; }
    [[nodiscard]] std::string TakeBody() { return std::move(FBody); }

private:
    const std::string FHost;
    const std::size_t FMaxBytes;
    std::string FBody;
    int FStatus = 200;
    TRefused FRefused;
    std::string FContentType = "text/html; charset=utf-8";
    std::vector<std::pair<std::string, std::string>> FHeaders;
};

} // namespace zutools::server
