// A module for the tests of modules to load and unload.

namespace
{

struct UnloadCounter
{
    ~UnloadCounter()
    {
        if (counter)
            ++*counter;
    }

    int* counter = nullptr;
} unloadCounter;

} // namespace

extern "C" void CountUnloadIn(int* counter)
{
    unloadCounter.counter = counter;
}
