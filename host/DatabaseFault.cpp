#include "host/DatabaseFault.h"

#include "host/ThreadContainer.h"

#include <memory>
#include <string_view>
#include <utility>

namespace zutools {

namespace {

constexpr std::u16string_view FaultName = u"LastDatabaseFault";

class TNotedFault : public TObject {
public:
    explicit TNotedFault(TDatabaseFault AFault)
        : Fault(std::move(AFault)) {}
    const TDatabaseFault Fault;
};

} // namespace

void NoteDatabaseFault(TDatabaseFault Fault) {
    ThreadObjects().Add(FaultName, std::make_unique<TNotedFault>(std::move(Fault)));
}

const TDatabaseFault* LastDatabaseFault() {
    const auto* const Noted = static_cast<const TNotedFault*>(ThreadObjects().Get(FaultName));
    return Noted != nullptr ? &Noted->Fault : nullptr;
}

void ClearDatabaseFault() {
    ThreadObjects().Remove(FaultName);
}

} // namespace zutools
