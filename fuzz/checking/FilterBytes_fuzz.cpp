// Any bytes load as a filter: no error, no more memory than the bytes justify, and what was read writes and
// reads back the same.

#include "checking/Chekprms.h"
#include "fuzz/Input.h"

namespace {

using namespace zutools;
using zutools::fuzz::Require;

std::size_t Units(const TParamsConfig& Config) {
    std::size_t Sum = Config.FilterName.size() + Config.FilterDescribe.size();
    for (int Index = 0; Index < Config.ParamsCfgCount(); ++Index) {
        const TParamsCfg& Rule = *Config.ParamsCfg(Index);
        Sum += Rule.Params.size() + Rule.WrongValues.size() + Rule.RightValues.size();
    }
    return Sum;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* Data, std::size_t Size) {
    const std::string_view Bytes = fuzz::Bytes(Data, Size);
    TParamsConfig Config;
    Config.FilterName = u"before";
    Config.SetAsString(Bytes);
    if (Bytes.empty()) {
        Require(Config.FilterName == u"before");
        return 0;
    }
    // Every unit and every rule stands for bytes of its own.
    Require(2 * Units(Config) <= Size);
    Require(static_cast<std::size_t>(Config.ParamsCfgCount()) <= Size / 2);

    const std::string Written = Config.AsString();
    TParamsConfig Again;
    Again.SetAsString(Written);
    Require(Again.ParamsCfgCount() == Config.ParamsCfgCount());
    Require(Again.AsString() == Written);
    Require(Again.Enabled == Config.Enabled && Again.FilterID == Config.FilterID);
    return 0;
}
