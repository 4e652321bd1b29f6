// What is known of parameters beforehand: their kinds, and which values they take.
//
//     TParamFields Fields({{.Name = u"Port", .Kind = TParamKind::Number, .Required = true, .Least = 1},
//                          {.Name = u"City", .WrongValues = u"<,>"}});
//     if (const TParamFault Fault = Fields.Check(u"port", u"x")) ...; // pfNotNumber
//
// Plain classes without Qt, for one thread at a time.

#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace zutools {

class TParamsList;
class TParamValueChecker;

/// How values read: a number as 1.5, a date as 2026-12-31, a colour as #rrggbb, yes or no as True or False
/// (1 and 0 are understood). A secret is shown to nobody.
enum class TParamKind : std::uint8_t { Text, Number, Date, Choice, File, Color, YesNo, Secret };

struct TParamField {
    std::u16string Name;
    std::u16string Label = {}; // for people; empty: the name
    std::u16string Hint = {};  // one line
    TParamKind Kind = TParamKind::Text;
    bool Required = false;                    // an empty value is a fault
    std::vector<std::u16string> Choices = {}; // of a Choice
    std::optional<double> Least = {};         // of a Number
    std::optional<double> Most = {};
    std::u16string WrongValues = {}; // the two halves of a rule, as TParamValueChecker takes them
    std::u16string RightValues = {};

    [[nodiscard]] const std::u16string& Shown() const { return Label.empty() ? Name : Label; }
};

enum class TParamFaultKind : std::uint8_t {
    None,
    NameWanted,
    NameUnfit, // holds "=" or a line break
    NameTwice,
    ValueWanted,
    LineBreak, // in a value: a text of the list would not bring it back
    NotNumber,
    TooSmall, // Text is the least number
    TooLarge, // Text is the greatest
    NotDate,
    NotChoice,
    NotColor,
    NotYesNo,
    Refused, // by the rule; Text is the checker's message, empty for a secret, which it would quote
};

struct TParamFault {
    TParamFaultKind Kind = TParamFaultKind::None;
    std::u16string Text = {};

    explicit operator bool() const { return Kind != TParamFaultKind::None; }
};

/// Fields by name, as a parameter list compares names. The first of two with one name holds.
class TParamFields {
public:
    TParamFields();
    explicit TParamFields(std::vector<TParamField> Fields);
    TParamFields(TParamFields&&) noexcept;
    TParamFields& operator=(TParamFields&&) noexcept;
    ~TParamFields();

    [[nodiscard]] std::span<const TParamField> All() const { return FFields; }
    /// Null for an unknown name.
    [[nodiscard]] const TParamField* Find(std::u16string_view Name) const { return FindByKey(Key(Name)); }
    /// Of a name without a field: a secret when it looks like one, else a text.
    [[nodiscard]] TParamKind Kind(std::u16string_view Name) const { return Kind(Name, Key(Name)); }
    /// What is wrong with a value. An empty one is wrong only where a value is required.
    [[nodiscard]] TParamFault Check(std::u16string_view Name, std::u16string_view Value) const {
        return CheckByKey(Key(Name), Value);
    }

    /// Equal for names that a parameter list holds to be one. For those who ask about many names often.
    [[nodiscard]] static std::string Key(std::u16string_view Name);
    [[nodiscard]] const TParamField* FindByKey(const std::string& Key) const;
    [[nodiscard]] TParamKind Kind(std::u16string_view Name, const std::string& Key) const;
    [[nodiscard]] TParamFault CheckByKey(const std::string& Key, std::u16string_view Value) const;

private:
    std::vector<TParamField> FFields;
    std::vector<std::unique_ptr<TParamValueChecker>> FCheckers; // one a field; null: no rule
    std::unordered_map<std::string, std::size_t> FByKey;
};

/// The fields, and behind them one for each entry of the list that has none: a text, or a secret.
[[nodiscard]] std::vector<TParamField> FieldsFor(const TParamsList& List, std::vector<TParamField> Fields);
/// Stores in a list the values of fields that differ from what it has; others, and its set event, hear
/// nothing.
void StoreAnswers(TParamsList& List, std::span<const TParamField> Fields,
                  std::span<const std::u16string> Values);

/// Nothing for a text that means neither.
[[nodiscard]] std::optional<bool> YesOrNo(std::u16string_view Value);

} // namespace zutools
