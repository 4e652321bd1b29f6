#include "server/web/Later.h"

#include <utility>

namespace zutools::server {

TLater::TLater()
    : FThread([this] { Run(); }) {}

TLater::~TLater() {
    {
        const std::lock_guard Guard(FMutex);
        FClosed = true;
    }
    FChanged.notify_all();
    FThread.join();
}

void TLater::At(TMoment Moment, std::function<void()> Work) {
    {
        const std::lock_guard Guard(FMutex);
        FWork.emplace(Moment, std::move(Work));
    }
    FChanged.notify_all();
}

void TLater::Run() {
    std::unique_lock Guard(FMutex);
    while (!FClosed) {
        if (FWork.empty()) {
            FChanged.wait(Guard);
        } else if (const TMoment Next = FWork.begin()->first; Next > std::chrono::steady_clock::now()) {
            FChanged.wait_until(Guard, Next);
        } else {
            const auto Work = FWork.extract(FWork.begin());
            Guard.unlock();
            Work.mapped()();
            Guard.lock();
        }
    }
}

} // namespace zutools::server
