// zuhost check: one value against a rule.

#include "apps/zuhost/Commands.h"

#include "checking/Chekprms.h"

namespace zutools::zuhost {

namespace {

constexpr const char* Footer =
    R"(Checks VALUE as requests are checked: it must hold nothing of the wrong rule, all
words of the right rule, and only its characters where it names any. Prints "ok"
for a value that passes; else says what is wrong and gives exit code 1.

A rule is a list with commas between its items: a character (<), its code (#60),
a quoted character (','), a range (a-z), or a word (script). Letter case counts
nowhere; positions are those of the upper-cased value.

Examples:
  zuhost check --wrong '<,>,script' 'plain text'
  zuhost check --right 'a-z,0-9' -- -x-)";

struct TRule {
    std::string Wrong;
    std::string Right;
};

int Check(const TRule& Rule, const TArguments& Values) {
    if (Values.empty()) throw EUsage("the value is missing");
    if (Values.size() > 1) throw EUsage("one value at a time: put it into quotes");
    TParamValueChecker Checker;
    Checker.SetWrongSymbolsAsString(Text(Rule.Wrong));
    Checker.SetRightSymbolsAsString(Text(Rule.Right));
    try {
        Checker.CheckValue(Text(Values.front()));
    } catch (const EParamValueChecker& Error) {
        Complain(Error.Message());
        return ExitFailed;
    }
    WriteOut(u"ok\n");
    return ExitGood;
}

} // namespace

TJob DeclareCheck(TDeclaration& Takes) {
    const auto Rule = std::make_shared<TRule>();
    Takes.Footer(Footer);
    Takes.Option("--wrong", Rule->Wrong, "RULE", "What must not occur in the value");
    Takes.Option("--right", Rule->Right, "RULE", "What must occur, or alone is allowed");
    return [Rule](const TArguments& Values) { return Check(*Rule, Values); };
}

} // namespace zutools::zuhost
