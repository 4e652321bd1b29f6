#include "package/ZuTools.h"

#include "checking/Chekprms.h"
#include "core/Lparams.h"
#include "core/Lthdata.h"
#include "host/ScriptObjects.h"
#include "package/Version.h"
#include "recordlock/Zurecblk.h"
#include "templates/Ltemplt.h"
#include "templates/Ztstmplcache.h"

#include <cstddef>
#include <iterator>
#include <mutex>

namespace zutools {

namespace {

struct TUnit {
    void (*Start)();
    void (*Stop)();
};

// In the order of their start. A unit stands after those that it uses.
constexpr TUnit Units[] = {
    {[] { RegisterLparams(ScriptRegistry()); }, [] { UnregisterLparams(ScriptRegistry()); }},
    {[] { RegisterLthdata(ScriptRegistry()); }, [] { UnregisterLthdata(ScriptRegistry()); }},
    {[] { ZUThreadDataContainer = std::make_unique<TZUThreadDataContainer>(); },
     [] { ZUThreadDataContainer.reset(); }},
    {[] { ZTSTemplateCache = std::make_unique<TZTSTemplateCache>(); }, [] { ZTSTemplateCache.reset(); }},
    {[] { ParamsChecker = std::make_unique<TParamsChecker>(); }, [] { ParamsChecker.reset(); }},
    {[] { RegisterChekprms(ScriptRegistry()); }, [] { UnregisterChekprms(ScriptRegistry()); }},
    {[] { ZURecordBlocker = std::make_unique<TZURecordBlocker>(); }, [] { ZURecordBlocker.reset(); }},
    {[] { RegisterZurecblk(ScriptRegistry()); }, [] { UnregisterZurecblk(ScriptRegistry()); }},
    {[] { RegisterLtemplt(ScriptRegistry()); }, [] { UnregisterLtemplt(ScriptRegistry()); }},
};

struct TStarts {
    std::mutex Mutex;
    int Count = 0;
};

TStarts& Starts() {
    static TStarts Instance;
    return Instance;
}

void StopUnits(std::size_t Started) {
    while (Started > 0) Units[--Started].Stop();
}

} // namespace

void StartZuTools() {
    const std::lock_guard Guard(Starts().Mutex);
    if (Starts().Count == 0) {
        std::size_t Started = 0;
        try {
            for (; Started < std::size(Units); ++Started) Units[Started].Start();
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
