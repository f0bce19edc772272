#include "Tests/Simulation/Scheduler.h"

#include "Platform/Threads.h"

#include <algorithm>
#include <cstdio>
#include <dlfcn.h>
#include <execinfo.h>
#include <memory>
#include <semaphore.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace Simulation
{

namespace
{

constexpr nanoseconds Never = nanoseconds::max();
constexpr nanoseconds StepLength = std::chrono::microseconds(1);
constexpr std::uint64_t MostSteps = 5'000'000;

struct Thread
{
    explicit Thread(unsigned itsNumber) : number(itsNumber) { sem_init(&baton, 0, 0); }

    const unsigned number;
    const char* name = "worker";
    sem_t baton;
    bool runnable = true;
    bool ended = false;
    nanoseconds due = Never; // of one that waits
    const Lock* lock = nullptr;
    const void* condition = nullptr; // or the thread whose end it waits for
    unsigned joined = 0;             // that thread
    bool notified = false;
    nanoseconds lastWait{};
    std::int64_t priority = 0;
    void* stack[Frames]{}; // where it has stopped, for reports
    int depth = 0;
};

struct State
{
    Random random{0};
    Trace trace = Trace::None;
    bool calm = false;
    nanoseconds now{};
    std::uint64_t steps = 0;
    std::uint64_t hash = 0xCBF29CE484222325;
    unsigned locks = 0;
    int atomic = 0;
    std::vector<std::unique_ptr<Thread>> threads; // by number
    std::vector<Thread*> alive;

    // How it decides.
    bool byPriority = false;
    std::int64_t lowest = 0; // priority given so far
    int distance = 1;        // mean number of steps between decisions
    int stalls = 0;          // one decision in so many holds a thread up; 0: none
    int toDecision = 0;      // weight left until then
};

State s;
Thread* current = nullptr; // the one that runs; none outside a life

void Hash(std::uint64_t value)
{
    s.hash = (s.hash ^ value) * 0x100000001B3;
}

void SetDistance()
{
    // Change points are far apart, so that rare orders last.
    const int mean = s.byPriority ? s.distance * 64 : s.distance;
    s.toDecision = 8 * (1 + s.random.Below(2 * mean));
}

void Wake(Thread& thread)
{
    thread.runnable = true;
    thread.due = Never;
    if (s.byPriority && current && thread.priority > current->priority)
        s.toDecision = 0;
}

void KeepStack(Thread& thread)
{
    if (s.trace != Trace::None)
        thread.depth = backtrace(thread.stack, Frames);
}

// Time jumps to the next due time when nobody can run.
Thread& Choose()
{
    std::vector<Thread*> able;
    for (;;) {
        nanoseconds next = Never;
        able.clear();
        for (Thread* thread : s.alive) {
            if (!thread->runnable && thread->due <= s.now)
                Wake(*thread);
            if (thread->runnable)
                able.push_back(thread);
            else
                next = std::min(next, thread->due);
        }
        if (!able.empty())
            break;
        if (next == Never)
            Fail("deadlock: everybody waits for ever");
        s.now = next;
    }
    if (!s.byPriority)
        return *able[static_cast<std::size_t>(s.random.Below(static_cast<int>(able.size())))];
    return **std::max_element(able.begin(), able.end(),
                              [](const Thread* a, const Thread* b) { return a->priority < b->priority; });
}

// Hands the baton to whoever is chosen; returns when the calling thread, unless it has ended, is chosen again.
void GoOn()
{
    Thread& self = *current;
    KeepStack(self);
    Thread& next = Choose();
    if (&next == &self)
        return;
    Hash(s.steps << 8 | next.number);
    Hash(static_cast<std::uint64_t>(s.now.count()));
    Print("-> " + std::to_string(next.number));
    current = &next;
    const bool ended = self.ended;
    sem_post(&next.baton);
    while (!ended && sem_wait(&self.baton) != 0)
        ;
}

void Block(nanoseconds due)
{
    current->runnable = false;
    current->due = due;
    GoOn();
}

void Decide()
{
    SetDistance();
    if (s.byPriority && !s.random.OneIn(4))
        current->priority = --s.lowest;
    if (s.stalls != 0 && s.random.OneIn(s.stalls)) {
        const int longest = s.calm ? 10 : 16;
        Block(s.now + milliseconds(1) * (1 << s.random.Below(longest)));
    } else {
        GoOn();
    }
}

void WakeWaiters(const void* condition)
{
    for (Thread* thread : s.alive) {
        if (thread->condition != condition)
            continue;
        thread->notified = true;
        if (!thread->runnable)
            Wake(*thread);
    }
}

Thread& AddThread()
{
    s.threads.push_back(std::make_unique<Thread>(static_cast<unsigned>(s.threads.size() + 1)));
    Thread& thread = *s.threads.back();
    thread.priority = static_cast<std::int64_t>(s.random.Next() >> 2);
    s.alive.push_back(&thread);
    return thread;
}

// "function at file:line" for each frame.
void PrintStack(void* const* frames, int depth)
{
    for (int i = 0; i < depth && frames[i]; ++i) {
        Dl_info info;
        if (dladdr(frames[i], &info) == 0 || !info.dli_fname)
            continue;
        const auto offset = static_cast<char*>(frames[i]) - static_cast<char*>(info.dli_fbase) - 1;
        char command[1200];
        std::snprintf(command, sizeof(command), "addr2line -Cfspe '%s' 0x%lx", info.dli_fname,
                      static_cast<unsigned long>(offset));
        char line[400] = "";
        if (FILE* const pipe = popen(command, "r")) {
            if (std::fgets(line, sizeof(line), pipe) && !std::string(line).starts_with("Simulation::"))
                std::printf("        %s", line);
            pclose(pipe);
        }
    }
}

} // namespace

// What looks into locks.
struct Report
{
    // The thread that it waits for; 0 where that is not one thread's doing.
    static unsigned Blocker(const Thread& thread)
    {
        if (thread.lock)
            return thread.lock->m_shared ? 0 : thread.lock->m_holder;
        return thread.joined;
    }

    // A circle of threads that wait for each other would go unseen while others go on.
    static void CheckForCircle()
    {
        for (unsigned next = Blocker(*current); next != 0; next = Blocker(*s.threads[next - 1])) {
            if (next == current->number)
                Fail("deadlock: threads wait for each other");
        }
    }

    static void Print(const Thread& thread)
    {
        std::printf("  thread %u (%s): ", thread.number, thread.name);
        if (thread.lock)
            std::printf("waits for lock %u, which thread %u has", thread.lock->m_number, thread.lock->m_holder);
        else if (thread.condition)
            std::printf("waits%s", thread.due == Never ? " for ever" : "");
        else
            std::printf("%s", thread.due == Never ? "can run" : "sleeps");
        std::printf("\n");
        PrintStack(thread.stack, thread.depth);
        if (thread.lock) {
            std::printf("      that lock was taken\n");
            PrintStack(thread.lock->m_taken, Frames);
        }
    }
};

void Begin(std::uint64_t seed, Trace trace)
{
    s.random = Random(seed * 0x9E3779B97F4A7C15 + 1);
    s.trace = trace;
    if (trace != Trace::None)
        std::setvbuf(stdout, nullptr, _IOLBF, 0);
    s.now = std::chrono::hours(24);
    s.byPriority = s.random.OneIn(2);
    s.distance = 2 << s.random.Below(5);
    s.stalls = s.random.OneIn(3) ? 0 : 8 << s.random.Below(4);
    SetDistance();
    current = &AddThread();
    current->name = "host";
}

Random& Dice()
{
    return s.random;
}

nanoseconds Now()
{
    return s.now;
}

void SleepFor(nanoseconds duration)
{
    Block(s.now + duration);
}

void SetCalm(bool calm)
{
    s.calm = calm;
}

void Point(int weight)
{
    if (!current || s.atomic != 0)
        return;
    s.now += StepLength;
    if (++s.steps == MostSteps)
        Fail("does not come to rest");
    if ((s.toDecision -= weight) <= 0)
        Decide();
}

Atomic::Atomic()
{
    ++s.atomic;
}

Atomic::~Atomic()
{
    --s.atomic;
}

void Note(const std::string& text)
{
    for (const char c : text)
        Hash(static_cast<unsigned char>(c));
    Print(text);
}

void Print(const std::string& text)
{
    if (s.trace == Trace::Full)
        std::printf("%12.6f %2u %s\n", static_cast<double>((s.now - std::chrono::hours(24)).count()) / 1e9,
                    current->number, text.c_str());
}

void Fail(const std::string& reason)
{
    if (s.trace != Trace::None) {
        KeepStack(*current);
        std::printf("failed: %s\n", reason.c_str());
        for (const Thread* thread : s.alive)
            Report::Print(*thread);
        std::fflush(stdout);
    }
    _exit(1);
}

Statistics GetStatistics()
{
    return {s.hash, s.steps, static_cast<unsigned>(s.alive.size())};
}

void Lock::Acquire(bool shared, int weight)
{
    if (!current)
        return;
    Point(weight);
    const bool again = m_recursive && m_holder == current->number;
    while (m_holders != 0 && !(shared && m_shared) && !again) {
        if (m_number == 0)
            m_number = ++s.locks;
        current->lock = this;
        Report::CheckForCircle();
        Block(Never);
        current->lock = nullptr;
    }
    ++m_holders;
    m_holder = current->number;
    m_shared = shared;
    if (s.trace != Trace::None)
        backtrace(m_taken, Frames);
}

void Lock::Release(int weight)
{
    if (!current)
        return;
    if (--m_holders == 0) {
        m_holder = 0;
        for (Thread* thread : s.alive) {
            if (thread->lock == this)
                Wake(*thread);
        }
    }
    Point(weight);
}

void BeginWait(const void* condition)
{
    current->condition = condition;
    current->notified = false;
}

bool Wait(milliseconds timeout)
{
    bool inTime = true;
    if (!current->notified) {
        const nanoseconds due = timeout > std::chrono::years(1) ? Never : s.now + timeout;
        const bool spurious = s.random.OneIn(64);
        Block(spurious ? std::min(due, s.now + milliseconds(s.random.Below(100))) : due);
        inTime = current->notified || s.now < due;
    }
    current->condition = nullptr;
    current->lastWait = s.now;
    return inTime;
}

nanoseconds LastWait()
{
    return current->lastWait;
}

void NotifyAll(const void* condition)
{
    if (!current)
        return;
    Point();
    WakeWaiters(condition);
    Point();
}

unsigned StartThread(void (*run)(void*), void* body)
{
    Thread& thread = AddThread();
    std::thread([run, body, &thread] {
        while (sem_wait(&thread.baton) != 0)
            ;
        run(body);
        Point();
        thread.ended = true;
        WakeWaiters(&thread);
        std::erase(s.alive, &thread);
        GoOn();
    }).detach();
    Point();
    return thread.number;
}

unsigned CurrentThread()
{
    return current ? current->number : 0;
}

void JoinThread(unsigned number)
{
    const Thread& thread = *s.threads[number - 1];
    Point();
    while (!thread.ended) {
        BeginWait(&thread);
        current->joined = number;
        Report::CheckForCircle();
        Block(Never);
    }
    current->condition = nullptr;
    current->joined = 0;
}

void NameThread(const char* name)
{
    current->name = name;
}

} // namespace Simulation

std::chrono::nanoseconds Platform::SteadyNow()
{
    return Simulation::Now();
}

// Slower than time: by it the log's settings are read again, which is files and would be most of a life.
std::uint32_t Platform::Ticks()
{
    return static_cast<std::uint32_t>(Simulation::Now().count() / 100'000'000);
}

void Platform::SleepFor(std::chrono::milliseconds duration)
{
    Simulation::SleepFor(duration);
}
