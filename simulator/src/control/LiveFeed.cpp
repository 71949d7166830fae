#include "LiveFeed.h"

#include <string>
#include <utility>

#include "BusState.h"
#include "bus/Bus.h"

namespace zebbussim {

namespace {

SharedText serverSentEvent(const std::string& name, const std::string& data) {
    return std::make_shared<const std::string>("event: " + name + "\ndata: " + data + "\n\n");
}

}  // namespace

void LiveFeed::add(LiveReader& reader) {
    reader.send(serverSentEvent("state", stateOf(bus_)));
    if (readers_.empty()) {
        registration_ = bus_.journal().listen([this](const BusEvent& event) { pass(event); });
    }
    readers_.insert(&reader);
}

void LiveFeed::remove(LiveReader& reader) {
    readers_.erase(&reader);
    if (readers_.empty()) {
        registration_.end();
    }
}

void LiveFeed::pass(const BusEvent& event) {
    const char* const name = liveNameOf(event);
    if (name == nullptr) {
        return;
    }
    const SharedText text = serverSentEvent(name, liveTextOf(event));
    for (LiveReader* const reader : readers_) {
        reader->send(text);
    }
}

}  // namespace zebbussim
