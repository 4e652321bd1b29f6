// Any rule texts compile, and the compiled checker says of any value what the plain reference says: the same
// verdict, the same word or character, the same position.
//
// The input is UTF-8: a line with the wrong half of the rule, a line with the right half, and the value up to
// the end. U+E000 to U+E7FF stand for the surrogates U+D800 to U+DFFF, so that unpaired ones come too.

#include "fuzz/Input.h"
#include "tests/checking/Reference.h"

namespace {

using namespace zutools;
using zutools::fuzz::Require;

void Compare(const TParamValueChecker& Checker, std::u16string_view Value) {
    const std::string Said = tests::Message(Checker, Value);
    const std::string Expected = tests::ReferenceMessage(Checker, Value);
    Require(Said == Expected, "said:     " + Said + "\nexpected: " + Expected);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* Data, std::size_t Size) {
    constexpr std::size_t Limit = 2048; // the reference and the making of large automata are slow
    if (Size > Limit) return 0;
    std::u16string Text = platform::Utf8ToUtf16(fuzz::Bytes(Data, Size));
    for (char16_t& Unit : Text) {
        if (Unit >= 0xE000 && Unit < 0xE800) Unit = static_cast<char16_t>(Unit - 0x800);
    }
    std::u16string_view Value = Text;
    std::u16string Wrong;
    std::u16string Right;
    KX_GetNextParam(Value, u"\n", Wrong);
    KX_GetNextParam(Value, u"\n", Right);

    TParamValueChecker Checker;
    Checker.SetWrongSymbolsAsString(Wrong);
    Checker.SetRightSymbolsAsString(Right);
    Compare(Checker, Value);
    // Once more across the border of two pieces that a long value is folded in.
    Compare(Checker, std::u16string(1020 - Value.size() % 16, u'X').append(Value));
    return 0;
}
