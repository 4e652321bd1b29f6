#include "Delivery.h"

#include "host/Published.h"
#include "package/ScriptLibrary.h"

#include <memory>

namespace orders {

namespace {

using namespace zutools;

// The warehouse stands here.
bool IsHome(std::u16string_view City) {
    return City == u"Москва" || City == u"Moscow";
}

constexpr TPropInfo Properties[] = {
    PublishedProperty<&TDelivery::FreeFrom>(u"FreeFrom", u"total in kopecks from which delivery is free"),
};
constexpr TMethodInfo Methods[] = {
    PublishedMethod<&TDelivery::Price, u"Total", u"City">(u"Price",
                                                          u"of an order, in kopecks; 0: it is free"),
    PublishedMethod<&TDelivery::Days, u"City">(u"Days", u"until an order is there"),
};

constexpr TScriptClass Classes[] = {&TDelivery::StaticClass};

void Publish(TScriptPublisher& Engine) {
    Engine.Publish("Delivery", std::make_unique<TDelivery>());
}

} // namespace

const TClassInfo& TDelivery::StaticClass() {
    static constexpr TClassInfo Info{.Name = u"TDelivery",
                                     .Parent = &TObject::StaticClass,
                                     .Properties = Properties,
                                     .Methods = Methods,
                                     .Global = {.Name = u"Delivery", .Help = u"rates of the order list"},
                                     .Help = u"price and time of a delivery"};
    return Info;
}
const TClassInfo& TDelivery::ClassInfo() const {
    return StaticClass();
}

std::int64_t TDelivery::Price(std::int64_t Total, std::u16string_view City) const {
    if (Total >= FreeFrom()) return 0;
    return IsHome(City) ? 30'000 : 65'000;
}

int TDelivery::Days(std::u16string_view City) const {
    return IsHome(City) ? 1 : 4;
}

} // namespace orders

extern "C" const zutools::TScriptLibrary* ZuScriptLibrary() {
    static constexpr zutools::TScriptLibrary Library{.Classes = orders::Classes, .Publish = orders::Publish};
    return &Library;
}
