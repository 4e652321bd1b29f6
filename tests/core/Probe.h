// An object that counts its deaths.

#pragma once

#include "host/Object.h"

namespace zutools {

template <class TBase>
class TProbe : public TBase {
public:
    explicit TProbe(int& Deaths)
        : FDeaths(Deaths) {}
    ~TProbe() override { ++FDeaths; }

private:
    int& FDeaths;
};

using TProbeObject = TProbe<TObject>;

} // namespace zutools
