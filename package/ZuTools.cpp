#include "package/ZuTools.h"

#include "checking/Chekprms.h"
#include "core/Lparams.h"
#include "core/Lthdata.h"
#include "host/ScriptObjects.h"
#include "host/Session.h"
#include "host/UserTables.h"
#include "package/Version.h"
#include "recordlock/Zurecblk.h"
#include "templates/Ltemplt.h"
#include "templates/Ztstmplcache.h"

#include <cstddef>
#include <iterator>
#include <mutex>
#include <utility>
#include <vector>

namespace zutools {

namespace {

struct TUnit {
    void (*Start)(const TServices& Services);
    void (*Stop)();
};

// Every class that scripts see, wherever it stands: a new one is one line here.
constexpr TScriptClass Classes[] = {
    &TParamsChecker::StaticClass,
    &TParamsList::StaticClass,
    &TRecordInterface::StaticClass,
    &TSession::StaticClass,
    &TTemplate::StaticClass,
    &TZURecordBlocker::StaticClass,
    &TZURecordBlockerInterface::StaticClass,
    &TZURecordBlockerObject::StaticClass,
    &TZURecordBlockerTableObject::StaticClass,
    &TZUThreadDataInterface::StaticClass,
};

// In the order of their start. A unit stands after those that it uses.
constexpr TUnit Units[] = {
    {[](const TServices&) { RegisterScriptClasses(Classes); }, [] { UnregisterScriptClasses(Classes); }},
    {[](const TServices&) { ZUThreadDataContainer = std::make_unique<TZUThreadDataContainer>(); },
     [] { ZUThreadDataContainer.reset(); }},
    {[](const TServices& Services) { ZTSTemplateCache = std::make_unique<TZTSTemplateCache>(&Services); },
     [] { ZTSTemplateCache.reset(); }},
    {[](const TServices&) { ParamsChecker = std::make_unique<TParamsChecker>(); },
     [] { ParamsChecker.reset(); }},
    {[](const TServices& Services) { ZURecordBlocker = std::make_unique<TZURecordBlocker>(Services); },
     [] { ZURecordBlocker.reset(); }},
};

struct TStarts {
    std::mutex Mutex;
    int Count = 0;
    std::vector<TScriptClass> HostClasses;
};

TStarts& Starts() {
    static TStarts Instance;
    return Instance;
}

void StopUnits(std::size_t Started) {
    while (Started > 0) Units[--Started].Stop();
    UnregisterScriptClasses(Starts().HostClasses);
    SetServices({});
}

} // namespace

void StartZuTools(TServices Services, std::span<const TScriptClass> HostClasses) {
    const std::lock_guard Guard(Starts().Mutex);
    if (Starts().Count == 0) {
        std::size_t Started = 0;
        try {
            SetServices(std::move(Services));
            Starts().HostClasses.assign(HostClasses.begin(), HostClasses.end());
            for (; Started < std::size(Units); ++Started) Units[Started].Start(zutools::Services());
            RegisterScriptClasses(Starts().HostClasses);
        } catch (...) {
            StopUnits(Started);
            throw;
        }
    }
    ++Starts().Count;
}

void StopZuTools() {
    const std::lock_guard Guard(Starts().Mutex);
    if (Starts().Count == 0 || --Starts().Count != 0) return;
    StopUnits(std::size(Units));
}

std::u16string_view ZuToolsVersion() {
    return HeaderVersion;
}

} // namespace zutools
