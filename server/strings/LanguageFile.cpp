#include "server/strings/LanguageFile.h"

#include "platform/Text.h"
#include "platform/TextTools.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iterator>

namespace zutools::server {

namespace {

/// "line:column" of a byte; a line ends at LF, columns count characters.
[[nodiscard]] std::string PlaceText(std::string_view Bytes, std::size_t Offset) {
    const std::string_view Before = Bytes.substr(0, Offset);
    const auto Line = std::count(Before.begin(), Before.end(), '\n') + 1;
    const std::string_view InLine = Before.substr(Before.rfind('\n') + 1); // npos + 1 is 0
    const auto Column = std::count_if(InLine.begin(), InLine.end(),
                                      [](char Byte) { return !platform::IsUtf8Continuation(Byte); }) +
                        1;
    return std::to_string(Line) + ':' + std::to_string(Column);
}

[[nodiscard]] std::u16string Quoted(std::string_view Key) {
    constexpr std::size_t MaxShown = 100;
    return u'"' + platform::Masked(platform::Shortened(platform::Utf8ToUtf16(Key), MaxShown), u' ') + u'"';
}

/// Hands the bytes to the parser and tells how far it has read: its events name no places themselves.
class TCountingIterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    TCountingIterator(const char* Place, const char*& Reached)
        : FPlace(Place)
        , FReached(&Reached) {}
    reference operator*() const { return *FPlace; }
    TCountingIterator& operator++() {
        *FReached = ++FPlace;
        return *this;
    }
    bool operator==(const TCountingIterator& Other) const { return FPlace == Other.FPlace; }
    bool operator!=(const TCountingIterator& Other) const { return FPlace != Other.FPlace; }

private:
    const char* FPlace;
    const char** FReached;
};

/// Takes the parser's events. The parser has read up to the end of a text when it tells of it, so the next
/// item begins behind the blanks, commas and colons that follow.
class TReader : public nlohmann::json_sax<nlohmann::json> {
public:
    TReader(std::string_view Bytes, std::u16string_view File)
        : FBytes(Bytes)
        , FFile(File)
        , FReached(Bytes.data()) {}

    [[nodiscard]] TLanguageTexts Read() {
        const TCountingIterator First(FBytes.data(), FReached);
        const TCountingIterator Last(FBytes.data() + FBytes.size(), FReached);
        nlohmann::json::sax_parse(First, Last, this);
        return std::move(FTexts);
    }

    [[noreturn]] void Refuse(std::size_t Offset, std::u16string_view Message) const {
        throw ELanguageFile(std::u16string(FFile) + u':' + platform::Utf8ToUtf16(PlaceText(FBytes, Offset)) +
                            u": " + std::u16string(Message));
    }

    bool start_object(std::size_t) override {
        if (FInside) RefuseValue();
        FInside = true;
        return Advance();
    }
    bool key(string_t& Value) override {
        FKeyOffset = ItemOffset();
        FKey = Value;
        return Advance();
    }
    bool string(string_t& Value) override {
        if (!FInside) RefuseValue();
        const auto [Entry, New] =
            FTexts.try_emplace(platform::Utf8ToUtf16(FKey), platform::Utf8ToUtf16(Value));
        if (!New) Refuse(FKeyOffset, u"key " + Quoted(FKey) + u" stands twice");
        return Advance();
    }
    bool end_object() override { return Advance(); }

    bool null() override { RefuseValue(); }
    bool boolean(bool) override { RefuseValue(); }
    bool number_integer(number_integer_t) override { RefuseValue(); }
    bool number_unsigned(number_unsigned_t) override { RefuseValue(); }
    bool number_float(number_float_t, const string_t&) override { RefuseValue(); }
    bool binary(binary_t&) override { RefuseValue(); }
    bool start_array(std::size_t) override { RefuseValue(); }
    bool end_array() override { return true; }

    bool parse_error(std::size_t Position, const std::string&,
                     const nlohmann::json::exception& Error) override {
        // "[json.exception.parse_error.101] parse error at line 1, column 2: what happened": the place is
        // ours to say, because the library counts columns in bytes.
        std::string_view Text = Error.what();
        if (const std::size_t Column = Text.find(", column "); Column != std::string_view::npos) {
            if (const std::size_t End = Text.find(": ", Column); End != std::string_view::npos)
                Text.remove_prefix(End + 2);
        }
        // The position counts the bytes read, the offending one included.
        const std::size_t Offset = std::min(Position > 0 ? Position - 1 : 0, FBytes.size());
        Refuse(Offset, u"no JSON: " + platform::Utf8ToUtf16(Text));
    }

private:
    bool Advance() {
        FItemEnd = static_cast<std::size_t>(FReached - FBytes.data());
        return true;
    }
    [[nodiscard]] std::size_t ItemOffset() const {
        const std::size_t Offset = FBytes.find_first_not_of(" \t\r\n,:", FItemEnd);
        return std::min(Offset, FBytes.size());
    }
    [[noreturn]] void RefuseValue() const {
        if (!FInside) Refuse(ItemOffset(), u"a language file is one object from key to text");
        Refuse(ItemOffset(), u"the value of key " + Quoted(FKey) + u" is no text");
    }

    std::string_view FBytes;
    std::u16string_view FFile;
    const char* FReached;
    std::size_t FItemEnd = 0; // one past the last item told of
    bool FInside = false;
    std::size_t FKeyOffset = 0;
    std::string FKey;
    TLanguageTexts FTexts;
};

} // namespace

TLanguageTexts ParseLanguageFile(std::string_view Bytes, std::u16string_view File) {
    Bytes = platform::WithoutByteOrderMark(Bytes);
    TReader Reader(Bytes, File);
    // Checked before the parser runs: the place of a bad byte is plain here, and no message of its can hold
    // it.
    if (const auto Decoded = platform::Utf8ToUtf16Strict(Bytes); Decoded.Error) {
        Reader.Refuse(Decoded.Error->Offset, u"malformed UTF-8");
    }
    return Reader.Read();
}

} // namespace zutools::server
