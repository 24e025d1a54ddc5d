// SPDX-License-Identifier: MIT
//
// Threads for pages that have none: a browser gives shared memory only to isolated pages. Here a
// "thread" is a fiber, and one runs at a time. A fiber runs until it waits, ends, or reads the
// clock after ten milliseconds of work; only the main fiber lets the browser deliver messages. The
// linker replaces the library's functions by these (--wrap).

#include <emscripten.h>
#include <emscripten/fiber.h>
#include <pthread.h>

#include <cerrno>
#include <ctime>
#include <memory>
#include <vector>

#undef main // the engine's own is called quillonMain

int quillonMain(int argc, char** argv);
extern "C" int __real_clock_gettime(clockid_t clock, timespec* time);

// clang-format off
EM_ASYNC_JS(void, waitForInput, (), {
  await new Promise((resolve) => { Module['wake'] = resolve; });
})

EM_ASYNC_JS(void, deliverMessages, (), {
  await new Promise((resolve) => {
    const channel = new MessageChannel();
    channel.port1.onmessage = () => { channel.port1.close(); resolve(); };
    channel.port2.postMessage(0);
  });
})

EM_JS(void, reportEnd, (int status), { Module['onEnd'](status); })
// clang-format on

namespace
{

struct fiber
{
    static constexpr size_t STACKSIZE = 2 << 20;       // for 128 plies
    static constexpr size_t SWITCHSTACKSIZE = 1 << 20; // what a switch has to put aside of them

    emscripten_fiber_t context;
    void* (*start)(void*) = nullptr;
    void* argument = nullptr;
    bool isWaiting = false;
    bool hasEnded = false;
    std::unique_ptr<char[]> stack{new char[STACKSIZE]};
    std::unique_ptr<char[]> switchStack{new char[SWITCHSTACKSIZE]};
};

emscripten_fiber_t mainFiber;
std::vector<std::unique_ptr<fiber>> fibers; // by pthread_t less 1; null when joined
fiber* running = nullptr;                   // null for the main fiber
timespec lastSwitch;

void runFiber(void* self)
{
    fiber& own = *static_cast<fiber*>(self);
    own.start(own.argument);
    own.hasEnded = true;
    emscripten_fiber_swap(&own.context, &mainFiber);
}

/// Switches from a fiber to the main one, and returns when the fiber is resumed.
void backToMain(bool isWaiting)
{
    fiber& own = *running;
    own.isWaiting = isWaiting;
    emscripten_fiber_swap(&own.context, &mainFiber);
}

/// Lets each fiber run once; returns whether one has more to do.
bool runAll()
{
    bool isBusy = false;
    for (size_t i = 0; i < fibers.size(); ++i)
    {
        fiber* next = fibers[i].get();
        if (!next || next->hasEnded) continue;
        running = next;
        __real_clock_gettime(CLOCK_MONOTONIC, &lastSwitch);
        emscripten_fiber_swap(&mainFiber, &next->context);
        running = nullptr;
        isBusy |= !next->isWaiting && !next->hasEnded;
    }
    return isBusy;
}

/// Waits for any change; the caller must find out what has changed.
void waitForChange()
{
    static int idleRounds = 0;
    if (running)
        backToMain(true);
    else if (runAll())
    {
        idleRounds = 0;
        deliverMessages();
    }
    else if (++idleRounds > 2) // the last change has had all its effects
    {
        idleRounds = 0;
        waitForInput();
    }
}

double milliseconds(const timespec& time)
{
    return 1e3 * static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_nsec);
}

} // namespace

extern "C"
{
    int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t*, void* (*start)(void*),
                              void* argument)
    {
        auto created = std::make_unique<fiber>();
        created->start = start;
        created->argument = argument;
        emscripten_fiber_init(&created->context, runFiber, created.get(), created->stack.get(),
                              fiber::STACKSIZE, created->switchStack.get(), fiber::SWITCHSTACKSIZE);
        fibers.push_back(std::move(created));
        *thread = reinterpret_cast<pthread_t>(fibers.size());
        return 0;
    }

    int __wrap_pthread_join(pthread_t thread, void**)
    {
        const size_t index = reinterpret_cast<size_t>(thread) - 1;
        while (!fibers[index]->hasEnded) waitForChange();
        fibers[index].reset();
        while (!fibers.empty() && !fibers.back()) fibers.pop_back();
        return 0;
    }

    int __wrap_pthread_cond_wait(pthread_cond_t*, pthread_mutex_t*)
    {
        waitForChange();
        return 0;
    }

    int __wrap_pthread_cond_timedwait(pthread_cond_t*, pthread_mutex_t*, const timespec* until)
    {
        timespec time;
        __real_clock_gettime(CLOCK_REALTIME, &time);
        if (milliseconds(time) >= milliseconds(*until)) return ETIMEDOUT;
        waitForChange();
        return 0;
    }

    int __wrap_clock_gettime(clockid_t clock, timespec* time)
    {
        constexpr double LONGESTTURN = 10;
        if (running)
        {
            timespec present;
            __real_clock_gettime(CLOCK_MONOTONIC, &present);
            if (milliseconds(present) - milliseconds(lastSwitch) > LONGESTTURN) backToMain(false);
        }
        return __real_clock_gettime(clock, time);
    }
}

int main(int argc, char** argv)
{
    static char switchStack[fiber::SWITCHSTACKSIZE];
    emscripten_fiber_init_from_current_context(&mainFiber, switchStack, sizeof switchStack);
    const int status = quillonMain(argc, argv);
    reportEnd(status);
    return status;
}
