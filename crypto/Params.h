// The parameters of a crypto engine as a person edits them: names, values, steps back, and which are secret.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zutools {

struct TCryptoParam {
    std::u16string Name;
    std::u16string Value;
    bool operator==(const TCryptoParam&) const = default;
};
using TCryptoParams = std::vector<TCryptoParam>;

/// name=value at the first "="; without one all of it is the name.
[[nodiscard]] TCryptoParam SplitParam(std::u16string_view Line);

/// Whether the value of a parameter of that name is secret: LooksSecret, or a key.
[[nodiscard]] bool IsSecretParam(std::u16string_view Name);

/// What stands on the screen and is told for a secret: the same for every value but the empty
/// one.
[[nodiscard]] std::u16string MaskedValue(const TCryptoParam& Param);

/// What a grid shows for the engine's parameters where `Stored` are those of the same type that a person
/// chose earlier: a value that is not empty replaces the engine's.
[[nodiscard]] TCryptoParams WithStored(TCryptoParams Params, const TCryptoParams& Stored);

/// The first parameter of that name, ignoring case; null without one.
[[nodiscard]] const TCryptoParam* FindParam(const TCryptoParams& Params, std::u16string_view Name);

class TCryptoParamsModel {
public:
    struct TState {
        std::u16string Type; // of the engine
        TCryptoParams Rows;
        bool operator==(const TState&) const = default;
    };
    static constexpr std::size_t MaxSteps = 100; // older ones are forgotten

    [[nodiscard]] const TState& State() const { return FState; }
    [[nodiscard]] const TCryptoParams& Rows() const { return FState.Rows; }

    /// A new beginning: there is no step back.
    void Reset(TState State);
    /// One step, of however many values; none when nothing changes.
    void Change(TState State);
    /// @return false, and nothing changes, when there is no such row or it has no name.
    bool SetValue(std::size_t Row, std::u16string_view Value);

    [[nodiscard]] bool CanUndo() const { return FAt > 0; }
    [[nodiscard]] bool CanRedo() const { return FAt + 1 < FSteps.size(); }
    void Undo();
    void Redo();

    /// A line name=value for every row with a name.
    [[nodiscard]] std::vector<std::u16string> Lines() const;

private:
    TState FState;
    std::vector<TState> FSteps{TState()}; // FState is the one at FAt
    std::size_t FAt = 0;
};

} // namespace zutools
