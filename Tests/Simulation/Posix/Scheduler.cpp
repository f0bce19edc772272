#include "Tests/Simulation/Scheduler.h"

#include "Platform/Threads.h"
#include "Tests/Simulation/Faults.h"

#include <algorithm>
#include <cstdio>
#include <dlfcn.h>
#include <execinfo.h>
#include <memory>
#include <pthread.h>
#include <semaphore.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace Simulation
{

Schedule schedule;
Faults faults;

namespace
{

thread_local bool isModule = false; // what the thread runs

constexpr nanoseconds StepLength = std::chrono::microseconds(1);
constexpr std::uint64_t MostSteps = 5'000'000;

struct Thread
{
    explicit Thread(unsigned itsNumber) : number(itsNumber) { sem_init(&baton, 0, 0); }

    const unsigned number;
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
};

std::vector<std::unique_ptr<Thread>> threads; // by number
std::vector<Thread*> alive;
Thread* current = nullptr; // the one that runs; none outside a life
unsigned locks = 0;        // numbers given

// How it decides.
bool byPriority = false;
std::int64_t lowest = 0; // priority given so far
int distance = 1;        // mean number of points between decisions
int stalls = 0;          // one decision in so many holds a thread up; 0: none
int toDecision = 0;      // weight left until then

void Hash(std::uint64_t value)
{
    schedule.hash = (schedule.hash ^ value) * 0x100000001B3;
}

void SetDistance()
{
    // Changes of priority are far apart, so that rare orders last.
    toDecision = 8 * (1 + schedule.dice.Below(distance * (byPriority ? 128 : 2)));
}

void Wake(Thread& thread)
{
    thread.runnable = true;
    thread.due = Never;
    if (byPriority && current && thread.priority > current->priority)
        toDecision = 0;
}

void WakeWaiters(const void* condition)
{
    for (Thread* thread : alive) {
        if (thread->condition != condition)
            continue;
        thread->notified = true;
        if (!thread->runnable)
            Wake(*thread);
    }
}

// Time jumps to the next due time when nobody can run.
Thread& Choose()
{
    std::vector<Thread*> able;
    while (able.empty()) {
        nanoseconds next = Never;
        for (Thread* thread : alive) {
            if (!thread->runnable && thread->due <= schedule.now)
                Wake(*thread);
            if (thread->runnable)
                able.push_back(thread);
            else
                next = std::min(next, thread->due);
        }
        if (able.empty() && next == Never)
            Fail("deadlock: everybody waits for ever");
        if (able.empty())
            schedule.now = next;
    }
    if (!byPriority)
        return *able[static_cast<std::size_t>(schedule.dice.Below(static_cast<int>(able.size())))];
    return **std::max_element(able.begin(), able.end(),
                              [](const Thread* a, const Thread* b) { return a->priority < b->priority; });
}

// Hands the baton to whoever is chosen; returns when the calling thread, unless it has ended, is chosen again.
void GoOn()
{
    const Side scheduler(false);
    Thread& self = *current;
    if (schedule.trace != Trace::None)
        backtrace(self.stack, Frames);
    Thread& next = Choose();
    if (&next == &self)
        return;
    Hash(schedule.steps << 8 | next.number);
    Hash(static_cast<std::uint64_t>(schedule.now.count()));
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
    if (byPriority && !schedule.dice.OneIn(4))
        current->priority = --lowest;
    if (stalls != 0 && schedule.dice.OneIn(stalls))
        Block(schedule.now + milliseconds(1 << schedule.dice.Below(schedule.calm ? 10 : 16)));
    else
        GoOn();
}

Thread& AddThread()
{
    threads.push_back(std::make_unique<Thread>(static_cast<unsigned>(threads.size() + 1)));
    alive.push_back(threads.back().get());
    alive.back()->priority = static_cast<std::int64_t>(schedule.dice.Next() >> 2);
    schedule.alive = alive.size();
    return *alive.back();
}

// A thread ends when its thread-local objects are destroyed, since their destructors still pass points.
void EndThread(void* ending)
{
    Thread& thread = *static_cast<Thread*>(ending);
    Point();
    thread.ended = true;
    WakeWaiters(&thread);
    std::erase(alive, &thread);
    schedule.alive = alive.size();
    GoOn();
}

// Its destructor is called behind those of thread-local objects.
const pthread_key_t endOfThread = [] {
    pthread_key_t key{};
    pthread_key_create(&key, &EndThread);
    return key;
}();

// A line for each function.
void PrintStack(void* const (&frames)[Frames])
{
    for (void* const frame : frames) {
        Dl_info info;
        if (!frame || dladdr(frame, &info) == 0)
            continue;
        char command[1000];
        std::snprintf(command, sizeof(command), "addr2line -Cfspe '%s' %tx", info.dli_fname,
                      static_cast<char*>(frame) - static_cast<char*>(info.dli_fbase) - 1);
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
        return !thread.lock ? thread.joined : thread.lock->m_shared ? 0 : thread.lock->m_holder;
    }

    // A circle of threads that wait for each other would go unseen while others go on.
    static void CheckForCircle()
    {
        for (unsigned next = Blocker(*current); next != 0; next = Blocker(*threads[next - 1])) {
            if (next == current->number)
                Fail("deadlock: threads wait for each other");
        }
    }

    static void Print(const Thread& thread)
    {
        std::printf("  thread %u ", thread.number);
        if (thread.lock)
            std::printf("waits for lock %u of thread %u\n", thread.lock->m_number, thread.lock->m_holder);
        else if (thread.joined != 0)
            std::printf("waits for the end of thread %u\n", thread.joined);
        else
            std::printf("%s\n", thread.runnable ? "can run" : thread.due == Never ? "waits for ever" : "waits");
        PrintStack(thread.stack);
        if (thread.lock) {
            std::printf("      the lock was taken in\n");
            PrintStack(thread.lock->m_taken);
        }
    }
};

void Begin(std::uint64_t seed, Trace trace)
{
    schedule.dice = Random(seed * 0x9E3779B97F4A7C15 + 1);
    schedule.trace = trace;
    byPriority = schedule.dice.OneIn(2);
    distance = 2 << schedule.dice.Below(5);
    stalls = schedule.dice.OneIn(3) ? 0 : 8 << schedule.dice.Below(4);
    SetDistance();
    current = &AddThread();
}

void SleepFor(nanoseconds duration)
{
    Block(schedule.now + duration);
}

void Point(int weight)
{
    if (!current || schedule.atomic != 0)
        return;
    schedule.now += StepLength;
    if (++schedule.steps == MostSteps)
        Fail("does not come to rest");
    if ((toDecision -= weight) <= 0)
        Decide();
}

void Note(const std::string& text)
{
    for (const char c : text)
        Hash(static_cast<unsigned char>(c));
    Print(text);
}

void Print(const std::string& text)
{
    if (current && schedule.trace == Trace::Full)
        std::printf("%15.6f %2u %s\n", static_cast<double>(schedule.now.count()) / 1e9, current->number, text.c_str());
}

void Fail(const std::string& reason)
{
    if (schedule.trace != Trace::None) {
        backtrace(current->stack, Frames);
        std::printf("failed: %s\n", reason.c_str());
        for (const Thread* thread : alive)
            Report::Print(*thread);
    }
    std::fflush(stdout);
    _exit(1);
}

void Lock::Acquire(bool shared, int weight)
{
    if (!current)
        return;
    Point(weight);
    while (m_count != 0 && !(shared && m_shared) && !(m_recursive && m_holder == current->number)) {
        if (m_number == 0)
            m_number = ++locks;
        current->lock = this;
        Report::CheckForCircle();
        Block(Never);
        current->lock = nullptr;
    }
    ++m_count;
    m_holder = current->number;
    m_shared = shared;
    if (schedule.trace != Trace::None)
        backtrace(m_taken, Frames);
}

void Lock::Release(int weight)
{
    if (!current)
        return;
    if (--m_count == 0) {
        m_holder = 0;
        for (Thread* thread : alive) {
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

bool Wait(nanoseconds timeout)
{
    const nanoseconds due = timeout > std::chrono::years(1) ? Never : schedule.now + timeout;
    if (!current->notified) {
        const bool spurious = schedule.dice.OneIn(64);
        Block(spurious ? std::min(due, schedule.now + milliseconds(schedule.dice.Below(100))) : due);
    }
    current->condition = nullptr;
    current->lastWait = schedule.now;
    return current->notified || schedule.now < due;
}

void NotifyAll(const void* condition)
{
    if (!current)
        return;
    Point();
    WakeWaiters(condition);
    Point();
}

nanoseconds LastWait()
{
    return current->lastWait;
}

// The new thread is whose the calling one is.
unsigned StartThread(void (*run)(void*), void* body)
{
    if (StrikesModule("Platform::WorkerThread"))
        throw std::bad_alloc();
    const bool isOfModule = isModule;
    const Side scheduler(false);
    Thread& thread = AddThread();
    std::thread([run, body, isOfModule, &thread] {
        while (sem_wait(&thread.baton) != 0)
            ;
        pthread_setspecific(endOfThread, &thread);
        const Side side(isOfModule);
        run(body);
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
    const Thread& thread = *threads[number - 1];
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

Side::Side(bool itIsModule) : m_before(std::exchange(isModule, itIsModule)) {}

Side::~Side()
{
    isModule = m_before;
}

bool Strikes(const char* service, const char* function)
{
    if (!faults.armed)
        return false;
    const Side scheduler(false);
    const std::string name = *service ? std::string(service) + "::" + function : function;
    const std::uint64_t call = ++faults.calls[name];
    if (name != faults.function || call < faults.first || (call > faults.first && !faults.forGood))
        return false;
    ++faults.struck;
    Note("fails: " + name);
    return true;
}

bool StrikesModule(const char* function)
{
    return isModule && Strikes("", function);
}

} // namespace Simulation

std::chrono::nanoseconds Platform::SteadyNow()
{
    return Simulation::schedule.now;
}

// Slower than time: by it the log's settings are read again, which is files and would be most of a life.
std::uint32_t Platform::Ticks()
{
    return static_cast<std::uint32_t>(Simulation::schedule.now / std::chrono::milliseconds(100));
}

void Platform::SleepFor(std::chrono::milliseconds duration)
{
    Simulation::SleepFor(duration);
}
