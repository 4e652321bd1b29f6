#include "server/web/Metrics.h"

#include <algorithm>
#include <cstdio>

namespace zutools::server {

namespace {

constexpr double Million = 1e6;

std::string Number(double Value) {
    char Text[40];
    std::snprintf(Text, sizeof Text, "%.15g", Value);
    return Text;
}

std::string Head(std::string_view Name, std::string_view Kind, std::string_view Help) {
    const std::string Full(Name);
    return "# HELP " + Full + " " + std::string(Help) + "\n# TYPE " + Full + " " + std::string(Kind) + "\n";
}

} // namespace

void TRequestCounts::Count(const TAccess& Access) {
    const auto Class = static_cast<std::size_t>(std::clamp(Access.Status / 100, 0, 5));
    const auto* const Bound = std::ranges::lower_bound(Bounds, Access.Time.count());
    FByClass[Class].fetch_add(1, std::memory_order_relaxed);
    FByTime[static_cast<std::size_t>(Bound - Bounds.begin())].fetch_add(1, std::memory_order_relaxed);
    FMicroseconds.fetch_add(static_cast<std::uint64_t>(std::max<std::int64_t>(Access.Time.count(), 0)),
                            std::memory_order_relaxed);
    FBytes.fetch_add(Access.Bytes, std::memory_order_relaxed);
}

std::string TRequestCounts::Text() const {
    std::string Text =
        Head("zuhost_requests_total", "counter", "Requests that ended, by the class of their status.");
    for (std::size_t Class = 0; Class < FByClass.size(); ++Class) {
        if (Class == 1) continue;
        const std::string Label = Class == 0 ? "none" : std::to_string(Class) + "xx";
        Text += "zuhost_requests_total{status=\"" + Label + "\"} " + std::to_string(FByClass[Class].load()) +
                "\n";
    }
    Text += Head("zuhost_request_seconds", "histogram",
                 "From the first byte of a request to the last of its answer.");
    std::uint64_t Sum = 0;
    for (std::size_t Index = 0; Index < FByTime.size(); ++Index) {
        Sum += FByTime[Index].load();
        const std::string Bound =
            Index < Bounds.size() ? Number(static_cast<double>(Bounds[Index]) / Million) : "+Inf";
        Text += "zuhost_request_seconds_bucket{le=\"" + Bound + "\"} " + std::to_string(Sum) + "\n";
    }
    Text +=
        "zuhost_request_seconds_sum " + Number(static_cast<double>(FMicroseconds.load()) / Million) + "\n";
    Text += "zuhost_request_seconds_count " + std::to_string(Sum) + "\n";
    return Text + MetricText("zuhost_sent_bytes_total", "counter", "Bytes of bodies sent.",
                             static_cast<double>(FBytes.load()));
}

std::string MetricText(std::string_view Name, std::string_view Kind, std::string_view Help, double Value) {
    return Head(Name, Kind, Help) + std::string(Name) + " " + Number(Value) + "\n";
}

} // namespace zutools::server
