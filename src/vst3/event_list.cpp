#include "vst3/event_list.h"

namespace Steinberg {
namespace Vst {

IMPLEMENT_FUNKNOWN_METHODS(EventList, IEventList, IEventList::iid)

EventList::EventList(int32 maxSize) {
    FUNKNOWN_CTOR
    setMaxSize(maxSize);
}

void EventList::setMaxSize(int32 maxSize) {
    if (maxSize < 0)
        maxSize = 0;
    events.reset();
    capacity = 0;
    count = 0;
    if (maxSize > 0) {
        events.reset(new Event[static_cast<size_t>(maxSize)]());
        capacity = maxSize;
    }
}

int32 PLUGIN_API EventList::getEventCount() {
    return count;
}

tresult PLUGIN_API EventList::getEvent(int32 index, Event& e) {
    if (index < 0 || index >= count)
        return kInvalidArgument;
    e = events[static_cast<size_t>(index)];
    return kResultOk;
}

tresult PLUGIN_API EventList::addEvent(Event& e) {
    if (count >= capacity)
        return kResultFalse;
    events[static_cast<size_t>(count)] = e;
    ++count;
    return kResultOk;
}

void EventList::clear() {
    count = 0;
}

Event* EventList::getEventByIndex(int32 index) {
    if (index < 0 || index >= count)
        return nullptr;
    return &events[static_cast<size_t>(index)];
}

} // namespace Vst
} // namespace Steinberg
