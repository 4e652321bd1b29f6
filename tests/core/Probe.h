// An object that counts its deaths.

#pragma once

#include "host/Object.h"

namespace zutools {

class TProbeObject : public TObject {
public:
    explicit TProbeObject(int& Deaths)
        : FDeaths(Deaths) {}
    ~TProbeObject() override { ++FDeaths; }

private:
    int& FDeaths;
};

} // namespace zutools
