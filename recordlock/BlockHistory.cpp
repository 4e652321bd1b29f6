#include "recordlock/BlockHistory.h"

#include "host/ScriptExecutor.h"
#include "platform/TextTools.h"

#include <utility>

namespace zutools {

namespace {

constexpr std::u16string_view LineBreak = u"\r\n";

std::u16string CurrentCallStack() {
    TScriptExecutor* const Executor = CurrentScriptExecutor();
    if (Executor == nullptr) return {};
    try {
        return Executor->CallStack();
    } catch (...) { // the log must not stop the work that it tells of
        return {};
    }
}

std::unique_ptr<const std::u16string> Kept(std::u16string Text) {
    if (Text.empty()) return nullptr;
    Text.resize(platform::WholeStart(Text, TBlockHistory::Units).size());
    return std::make_unique<const std::u16string>(std::move(Text));
}

std::u16string_view Wording(TBlockEvent Event, std::u16string_view Created) {
    switch (Event) {
    case TBlockEvent::Text:
        break;
    case TBlockEvent::Created:
        return Created;
    case TBlockEvent::Checked:
        return u"CheckRecordInternal";
    case TBlockEvent::Done:
        return u"DoneInternal CommitChanges: 0";
    case TBlockEvent::DoneCommit:
        return u"DoneInternal CommitChanges: 1";
    case TBlockEvent::UnLockTable:
        return u"UnLockTableInternal";
    }
    return {};
}

} // namespace

void TBlockHistory::Append(TEntry Entry) {
    if (FEntries.empty()) FEntries.reserve(4);
    if (FEntries.size() < Entries) {
        FEntries.push_back(std::move(Entry));
        return;
    }
    FEntries[FOldest] = std::move(Entry);
    FOldest = (FOldest + 1) % Entries;
}

void TBlockHistory::Add(TBlockEvent Event, std::u16string_view Text) {
    std::u16string Rest = CurrentCallStack();
    if (Event == TBlockEvent::Text) {
        std::u16string Whole(Text.substr(0, Units + 1)); // one more, so that the cut sees it
        Whole += LineBreak;
        Whole += Rest;
        Rest = std::move(Whole);
    }
    Append({Event, Kept(std::move(Rest))});
}

void TBlockHistory::Assign(const std::vector<std::u16string>& Texts) {
    FEntries.clear();
    FOldest = 0;
    for (const std::u16string& Each : Texts) Append({TBlockEvent::Text, Kept(Each)});
}

std::vector<std::u16string> TBlockHistory::Texts(std::u16string_view Created) const {
    std::vector<std::u16string> Result;
    Result.reserve(FEntries.size());
    for (std::size_t Number = 0; Number < FEntries.size(); ++Number) {
        const TEntry& Entry = FEntries[(FOldest + Number) % FEntries.size()];
        std::u16string Text;
        if (Entry.Event != TBlockEvent::Text) {
            Text = Wording(Entry.Event, Created);
            Text += LineBreak;
        }
        if (Entry.Rest) Text += *Entry.Rest;
        Text.resize(platform::WholeStart(Text, TBlockHistory::Units).size());
        Result.push_back(std::move(Text));
    }
    return Result;
}

} // namespace zutools
