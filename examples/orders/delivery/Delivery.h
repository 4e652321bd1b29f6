// What the delivery of an order costs and how long it takes: the application's own class for scripts.

#pragma once

#include "host/Object.h"

#include <cstdint>
#include <string_view>

namespace orders {

/// Scripts find one as `Delivery`. Prices in kopecks.
class TDelivery : public zutools::TObject {
public:
    static const zutools::TClassInfo& StaticClass();
    [[nodiscard]] const zutools::TClassInfo& ClassInfo() const override;

    [[nodiscard]] int FreeFrom() const { return 5'000'000; }
    /// 0 when it is free.
    [[nodiscard]] std::int64_t Price(std::int64_t Total, std::u16string_view City) const;
    [[nodiscard]] int Days(std::u16string_view City) const;
};

} // namespace orders
