#include "recordlock/BlockHistory.h"

#include "host/ScriptExecutor.h"
#include "platform/TextTools.h"

#include <new>
#include <utility>

namespace zutools {

namespace {

constexpr std::u16string_view LineBreak = u"\r\n";

void Cut(std::u16string& Entry) {
    Entry.resize(platform::WholeStart(Entry, TBlockHistory::Units).size());
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

TCallStack CurrentCallStack() noexcept {
    TScriptExecutor* const Executor = CurrentScriptExecutor();
    if (Executor == nullptr) return nullptr;
    try {
        std::u16string Stack = Executor->CallStack();
        if (Stack.empty()) return nullptr;
        Cut(Stack);
        return std::make_shared<const std::u16string>(std::move(Stack));
    } catch (...) { // the log must not stop the work that it tells of
        return nullptr;
    }
}

void TBlockHistory::Append(TBlockEvent Event, TCallStack Rest) {
    if (FCount == Entries) {
        At(*this, FOldest) = {Event, std::move(Rest)};
        FOldest = (FOldest + 1) % Entries;
        return;
    }
    if (FCount < FFew.size())
        FFew[FCount] = {Event, std::move(Rest)};
    else
        FMore.push_back({Event, std::move(Rest)});
    ++FCount;
}

void TBlockHistory::Add(TBlockEvent Event, std::u16string_view Text, const TCallStack& Stack) noexcept {
    try {
        if (Event != TBlockEvent::Text) return Append(Event, Stack);
        std::u16string Whole(Text.substr(0, Units + 1)); // one more, so that the cut sees it
        Whole += LineBreak;
        if (Stack) Whole += *Stack;
        Cut(Whole);
        Append(Event, std::make_shared<const std::u16string>(std::move(Whole)));
    } catch (const std::bad_alloc&) {
        return;
    }
}

void TBlockHistory::Assign(const std::vector<std::u16string>& Texts) {
    *this = {};
    for (const std::u16string& Each : Texts)
        Append(TBlockEvent::Text, std::make_shared<const std::u16string>(Each));
}

std::vector<std::u16string> TBlockHistory::Texts(std::u16string_view Created) const {
    std::vector<std::u16string> Result;
    Result.reserve(FCount);
    for (std::size_t Number = 0; Number < FCount; ++Number) {
        const TEntry& Entry = At(*this, (FOldest + Number) % FCount);
        std::u16string Text;
        if (Entry.Event != TBlockEvent::Text) {
            Text = Wording(Entry.Event, Created);
            Text += LineBreak;
        }
        if (Entry.Rest) Text += *Entry.Rest;
        Cut(Text);
        Result.push_back(std::move(Text));
    }
    return Result;
}

} // namespace zutools
