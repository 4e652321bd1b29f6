// A reporter of Google Benchmark that remembers the best time of every benchmark, so that a program can end
// with a table of ratios taken inside its own run.

#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <limits>
#include <map>
#include <string>
#include <vector>

namespace zutools {

class TRatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& Runs) override {
        for (const Run& Each : Runs) {
            if (Each.error_occurred || Each.run_type != Run::RT_Iteration) continue;
            const auto Place =
                FBest.try_emplace(Each.run_name.function_name, std::numeric_limits<double>::max()).first;
            Place->second = std::min(Place->second, Each.GetAdjustedCPUTime());
        }
        ConsoleReporter::ReportRuns(Runs);
    }

    /// The best time of a benchmark in its own unit; 0 when it did not run.
    [[nodiscard]] double Best(const std::string& Name) const {
        const auto Found = FBest.find(Name);
        return Found == FBest.end() ? 0.0 : Found->second;
    }

private:
    std::map<std::string, double> FBest;
};

} // namespace zutools
