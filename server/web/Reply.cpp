#include "server/web/Reply.h"

#include "server/web/HttpText.h"

#include <unistd.h>

#include <algorithm>

namespace zutools::server {

namespace {

struct TErrorText {
    int Status;
    std::u16string_view Cause;
    std::u16string_view Title;
    std::u16string_view Text;
};

constexpr TErrorText ErrorTexts[] = {
    {400, {}, u"Bad request", u"The address or the form cannot be read."},
    {403, {}, u"Refused", u"This form is out of date. Go back, reload the page and send it again."},
    {403, u"rights", u"Not for you",
     u"You are signed in, but you have no right to do this. Who administers this "
     u"application can give it to you."},
    {404, {}, u"Not found", u"There is no such page."},
    {405, {}, u"Not allowed", u"This page does not answer that kind of request."},
    {413, {}, u"Too large", u"What was sent is larger than this service takes."},
    {415, {}, u"Unknown form", u"What was sent is in no form that this service reads."},
    {500,
     {},
     u"Something went wrong",
     u"The page could not be made. When you report this, please tell the number below."},
    {503, {}, u"Busy", u"The service cannot answer now. Please try again in a moment."},
};

constexpr TErrorText UnknownText{0, {}, u"Refused", u"The request was refused."};

} // namespace

TOpenFile::~TOpenFile() {
    if (FDescriptor >= 0) ::close(FDescriptor);
}

std::u16string TextOr(TLocalizatorTable& Localizer, std::u16string_view LanguageID, std::u16string_view Key,
                      std::u16string_view Default) {
    std::u16string Text = Localizer.GetString(Key, LanguageID);
    return Text == Key ? std::u16string(Default) : Text;
}

TErrorWords ErrorWords(int Status, TLocalizatorTable& Localizer, std::u16string_view LanguageID,
                       std::u16string_view Cause) {
    const auto* Known = std::ranges::find_if(
        ErrorTexts, [&](const TErrorText& Each) { return Each.Status == Status && Each.Cause == Cause; });
    const TErrorText& Default = Known == std::end(ErrorTexts) ? UnknownText : *Known;
    const std::string Number = std::to_string(Status);
    std::u16string Key = u"http." + std::u16string(Number.begin(), Number.end());
    if (!Cause.empty()) Key.append(u".").append(Cause);
    return {TextOr(Localizer, LanguageID, Key + u".title", Default.Title),
            TextOr(Localizer, LanguageID, Key + u".text", Default.Text)};
}

TReply PlainPage(int Status, std::u16string_view LanguageID, std::u16string_view Title,
                 std::string_view Content) {
    TReply Reply;
    Reply.Status = Status;
    Reply.ContentType = "text/html; charset=utf-8";
    Reply.Headers.emplace_back("Cache-Control", "no-store");
    Reply.Body = "<!DOCTYPE html>\n<html lang=\"" + HtmlText(LanguageID) +
                 "\">\n<head><meta charset=\"utf-8\"><meta name=\"viewport\" "
                 "content=\"width=device-width, initial-scale=1\"><title>" +
                 HtmlText(Title) + "</title></head>\n<body>\n" + std::string(Content) + "</body>\n</html>\n";
    return Reply;
}

TReply ErrorReply(int Status, TLocalizatorTable& Localizer, std::u16string_view LanguageID,
                  std::u16string_view Note) {
    const TErrorWords Words = ErrorWords(Status, Localizer, LanguageID);
    std::string Content = "<h1>" + HtmlText(Words.Title) + "</h1>\n<p>" + HtmlText(Words.Text) + "</p>\n";
    if (!Note.empty()) Content += "<p>" + HtmlText(Note) + "</p>\n";
    return PlainPage(Status, LanguageID, Words.Title, Content);
}

} // namespace zutools::server
