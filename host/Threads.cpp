#include "host/Threads.h"

#include "platform/Text.h"

#include <mutex>

namespace zutools {

namespace {

struct TThreadList {
    std::mutex Lock;
    std::list<std::u16string> Names;
};

TThreadList& Threads() {
    static auto* const Result = new TThreadList; // outlives every thread
    return *Result;
}

} // namespace

TKXSafetySuspendedThread::~TKXSafetySuspendedThread() {
    WaitFor();
}

void TKXSafetySuspendedThread::Start() {
    FThread = std::thread([this] { Execute(); });
}

void TKXSafetySuspendedThread::WaitFor() {
    if (FThread.joinable()) FThread.join();
}

TThreadRegistration::TThreadRegistration(std::u16string_view Name)
    : FStart(platform::Utf16ToUtf8(Name)) {
    TThreadList& All = Threads();
    const std::lock_guard Guard(All.Lock);
    FEntry = All.Names.emplace(All.Names.end(), Name);
}

TThreadRegistration::~TThreadRegistration() {
    TThreadList& All = Threads();
    const std::lock_guard Guard(All.Lock);
    All.Names.erase(FEntry);
}

std::vector<std::u16string> RegisteredThreads() {
    TThreadList& All = Threads();
    const std::lock_guard Guard(All.Lock);
    return {All.Names.begin(), All.Names.end()};
}

} // namespace zutools
