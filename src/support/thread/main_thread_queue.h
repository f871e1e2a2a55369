// Moves work to a thread that runs a message loop: the editor's window
// thread, from a plug-in's notification thread or the live worker. It is
// the only way the program crosses from another thread to the window
// thread.
#pragma once

#include <functional>
#include <list>

namespace Qz {

// Construct and destroy on the thread that is to run the callbacks; that
// thread must dispatch messages (a hidden window of its own receives them).
class mainThreadQueue {
public:
    // Throws Qz::bug_check if the hidden window cannot be made: without it
    // nothing posted would ever run.
    mainThreadQueue();
    // Runs what is still queued, on the destroying thread, then removes the
    // window.
    ~mainThreadQueue();
    mainThreadQueue(const mainThreadQueue&) = delete;
    mainThreadQueue& operator=(const mainThreadQueue&) = delete;

    // Queues `callback` to run on the window's thread the next time it
    // dispatches messages. Posts from a burst share one window message, and
    // callbacks run in the order they were posted. Any thread.
    void post(std::function<void()> callback);

    // Runs the queued callbacks on the calling thread, until the queue is
    // empty, including those posted meanwhile. The lock is not held during
    // a callback, so a callback may post. An exception from a callback
    // leaves drain and the rest stay queued. Reached through the message
    // loop, a callback's exception is dropped instead (it must not cross
    // the system's frames), and the rest still run.
    void drain();

private:
    // Room for a CRITICAL_SECTION (40 bytes on x64), which this header
    // cannot name; the source checks the size.
    alignas(void*) unsigned char lock[40];
    std::list<std::function<void()>> callbacks;
    bool posted = false; // a message is on its way and will drain
    void* window = nullptr;
};

} // namespace Qz
