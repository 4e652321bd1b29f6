// Recordings of automation objects: any text is one or is refused with its line, and every recorded question
// that is asked is answered or refused the same way.

#include "fuzz/Input.h"
#include "platform/Text.h"
#include "scripting/Recording.h"

using namespace zutools;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* Data, std::size_t Size) {
    try {
        const TAutomationReplay Replay(fuzz::Bytes(Data, Size), u"fuzz");
        const platform::TAutomationPtr Object = Replay.Object();
        for (std::size_t Left = Replay.Remaining().size(); Left > 0; Left = Replay.Remaining().size()) {
            const std::u16string Question = Replay.Remaining().front();
            const std::size_t Open = Question.find(u'"'), Close = Question.rfind(u'"');
            if (Question.starts_with(u"0 find ") && Close > Open && Close != Question.npos) {
                static_cast<void>(Object->FindMember(Question.substr(Open + 1, Close - Open - 1)));
            } else if (Question == u"0 type") {
                static_cast<void>(Object->DescribeType());
            } else {
                static_cast<void>(Object->Invoke(1, platform::TInvokeKind::PropertyGet, {}));
            }
            fuzz::Require(Replay.Remaining().size() == Left - 1, "a question was answered");
        }
    } catch (const EAutomationReplay&) {
    }
    return 0;
}
