#include "checking/RuleText.h"

#include "host/Numbers.h"
#include "host/StringHelpers.h"

#include <optional>

namespace zutools {

namespace {

bool IsQuote(char16_t Character) {
    return Character == u'\'' || Character == u'"';
}

/// Cuts the next item off the front of `Rest`, both trimmed; an empty item is the end of the rule.
std::u16string_view NextItem(std::u16string_view& Rest) {
    constexpr auto None = std::u16string_view::npos;
    if (Rest.empty()) return {};

    std::size_t Close = None; // the closing quote of a quoted item
    if (IsQuote(Rest.front())) {
        Close = Rest.find(Rest.front(), 1);
        if (Close == 1) Close = None; // an empty pair quotes nothing
    }
    const std::size_t Comma = Rest.find(u',', Close == None ? 0 : Close);

    std::u16string_view Item;
    if (Close != None) {
        Item = Rest.substr(0, Close + 1); // what stands between the quote and the comma is discarded
        Rest = Comma == None ? std::u16string_view{} : Rest.substr(Comma + 1);
    } else if (Comma == None || Comma == 0) {
        // Kept on purpose: a comma at the front makes the whole rest one item.
        Item = Rest;
        Rest = {};
    } else {
        Item = Rest.substr(0, Comma);
        Rest = Rest.substr(Comma + 1);
    }
    Rest = Trim(Rest);
    return Trim(Item);
}

/// The item as a single character; anything else becomes a word.
std::optional<char16_t> ReadCharacter(std::u16string_view Item, TStrings& Words) {
    if (Item.size() == 1) return Item.front();
    if (Item.size() >= 3 && Item.front() == u'#') {
        // Kept on purpose: a number that cannot be read is -1 and gives U+FFFF, which still counts.
        return static_cast<char16_t>(StrToIntDef(Item.substr(1), -1));
    }
    if (Item.size() >= 2 && IsQuote(Item.front()) && Item.back() == Item.front()) {
        if (Item.size() == 3) return Item[1];
        Words.Add(Item.substr(1, Item.size() - 2));
        return std::nullopt;
    }
    Words.Add(Item);
    return std::nullopt;
}

/// `First-Last`: the whole range when both sides are characters in rising order, else what was read of them.
void ReadRange(std::u16string_view First, std::u16string_view Last, TKXCharSet& Symbols, TStrings& Words) {
    // Kept on purpose: half a range is dropped without a word.
    if (First.empty() || Last.empty()) return;
    const auto From = ReadCharacter(First, Words);
    const auto To = ReadCharacter(Last, Words);
    if (From && To && *From < *To) {
        Symbols.Append(*From, *To);
        return;
    }
    if (From) Symbols.Include(*From);
    if (To) Symbols.Include(*To);
}

} // namespace

void CompileRuleText(std::u16string_view Text, TKXCharSet& Symbols, TStrings& Words) {
    Symbols.Clear();
    Words.Clear();
    const std::u16string Upper = AnsiUpperCase(Text);
    std::u16string_view Rest = Upper;
    for (auto Item = NextItem(Rest); !Item.empty(); Item = NextItem(Rest)) {
        const auto Dash = Item.size() >= 3 ? Item.find(u'-') : std::u16string_view::npos;
        // Kept on purpose: quotes are looked at first, so 'a'-'z' gives the character A alone, and a dash
        // inside an unquoted word splits the word.
        if (IsQuote(Item.front()) || Dash == std::u16string_view::npos) {
            if (const auto Character = ReadCharacter(Item, Words)) Symbols.Include(*Character);
            continue;
        }
        ReadRange(Trim(Item.substr(0, Dash)), Trim(Item.substr(Dash + 1)), Symbols, Words);
    }
}

} // namespace zutools
