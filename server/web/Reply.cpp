#include "server/web/Reply.h"

#include "server/web/HttpText.h"

#include <unistd.h>

#include <algorithm>

namespace zutools::server {

namespace {

struct TErrorText {
    int Status;
    std::u16string_view Title;
    std::u16string_view Text;
};

constexpr TErrorText ErrorTexts[] = {
    {400, u"Bad request", u"The address or the form cannot be read."},
    {403, u"Refused", u"This form is out of date. Go back, reload the page and send it again."},
    {404, u"Not found", u"There is no such page."},
    {405, u"Not allowed", u"This page does not answer that kind of request."},
    {413, u"Too large", u"What was sent is larger than this service takes."},
    {415, u"Unknown form", u"What was sent is in no form that this service reads."},
    {500, u"Something went wrong",
     u"The page could not be made. When you report this, please tell the number below."},
    {503, u"Busy", u"The service cannot answer now. Please try again in a moment."},
};

constexpr TErrorText UnknownText{0, u"Refused", u"The request was refused."};

std::u16string Localised(TLocalizatorTable& Localizer, int Status, std::u16string_view Part,
                         std::u16string_view LanguageID, std::u16string_view Default) {
    const std::string Number = std::to_string(Status);
    std::u16string Key = u"http." + std::u16string(Number.begin(), Number.end());
    Key += Part;
    std::u16string Text = Localizer.GetString(Key, LanguageID);
    return Text == Key ? std::u16string(Default) : Text;
}

} // namespace

TOpenFile::~TOpenFile() {
    if (FDescriptor >= 0) ::close(FDescriptor);
}

TReply ErrorReply(int Status, TLocalizatorTable& Localizer, std::u16string_view LanguageID,
                  std::u16string_view Note) {
    const auto* Known = std::ranges::find(ErrorTexts, Status, &TErrorText::Status);
    const TErrorText& Default = Known == std::end(ErrorTexts) ? UnknownText : *Known;
    const std::string Title = HtmlText(Localised(Localizer, Status, u".title", LanguageID, Default.Title));
    const std::string Text = HtmlText(Localised(Localizer, Status, u".text", LanguageID, Default.Text));

    TReply Reply;
    Reply.Status = Status;
    Reply.ContentType = "text/html; charset=utf-8";
    Reply.Headers.emplace_back("Cache-Control", "no-store");
    Reply.Body = "<!DOCTYPE html>\n<html lang=\"" + HtmlText(LanguageID) +
                 "\">\n<head><meta charset=\"utf-8\"><meta name=\"viewport\" "
                 "content=\"width=device-width, initial-scale=1\"><title>" +
                 Title + "</title></head>\n<body>\n<h1>" + Title + "</h1>\n<p>" + Text + "</p>\n";
    if (!Note.empty()) Reply.Body += "<p>" + HtmlText(Note) + "</p>\n";
    Reply.Body += "</body>\n</html>\n";
    return Reply;
}

} // namespace zutools::server
