// A module for the tests of modules to load and unload.

namespace
{

struct UnloadCounter
{
    ~UnloadCounter() { ++*counter; }

    int unseen = 0;
    int* counter = &unseen;
} unloadCounter;

} // namespace

extern "C" void CountUnloadIn(int* counter)
{
    unloadCounter.counter = counter;
}
