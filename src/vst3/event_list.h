// EventList under the SDK's name, which the SDK copy we build from lacks:
// the events of one block, as a host hands them to IAudioProcessor::process
// (inputEvents, outputEvents).
//
// Threads: belongs to the thread that processes; the plug-in fills an output
// list there, inside process. Nothing here takes a lock.
#pragma once

#include <memory>

#include "pluginterfaces/vst/ivstevents.h"

namespace Steinberg {
namespace Vst {

// A fixed number of event slots, allocated once, so that adding in the audio
// thread never allocates. Counted: made with a count of 1, deleted by the
// release that brings it to 0.
class EventList : public IEventList {
public:
    // Room for `maxSize` events (a negative size reads as 0), allocated here.
    // Throws std::bad_alloc.
    explicit EventList(int32 maxSize = 50);
    virtual ~EventList() = default;
    EventList(const EventList&) = delete;
    EventList& operator=(const EventList&) = delete;

    // Room for `maxSize` events from now on; the events held so far are
    // dropped. Not while a plug-in may be adding. Throws std::bad_alloc (the
    // list then has no room at all).
    void setMaxSize(int32 maxSize);

    int32 PLUGIN_API getEventCount() override;
    // A copy of the event at `index`; kInvalidArgument outside
    // [0, getEventCount()).
    tresult PLUGIN_API getEvent(int32 index, Event& e) override;
    // Appends a copy; kResultFalse when the list is full. Never allocates.
    tresult PLUGIN_API addEvent(Event& e) override;

    // Drops every event; the room stays.
    void clear();
    // The event at `index` in place, for a host that adjusts it; null outside
    // [0, getEventCount()).
    Event* getEventByIndex(int32 index);

    DECLARE_FUNKNOWN_METHODS

private:
    std::unique_ptr<Event[]> events;
    int32 capacity = 0;
    int32 count = 0;
};

} // namespace Vst
} // namespace Steinberg
