// Each life has a process of its own, so that nothing of one is left in the next.
#pragma once

#include "Tests/Simulation/Life.h"

#include <cstdio>
#include <iostream>
#include <malloc.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Simulation
{

class LifeProcess
{
public:
    // All on one core: threads take turns anyway. `severity`: what the module logs.
    explicit LifeProcess(const wchar_t* severity)
    {
        cpu_set_t core;
        CPU_ZERO(&core);
        CPU_SET(static_cast<unsigned>(sched_getcpu()), &core);
        sched_setaffinity(0, sizeof(core), &core);
        mallopt(M_ARENA_MAX, 1);
        Prepare(severity);
    }
    LifeProcess(const LifeProcess&) = delete;
    LifeProcess& operator=(const LifeProcess&) = delete;

    // Returns the status of the process.
    template <class Body>
    int Run(Body body)
    {
        constexpr unsigned timeLimit = 120; // seconds, of the wall clock
        *m_outcome = {};
        std::cout.flush();
        const pid_t process = fork();
        if (process == 0) {
            alarm(timeLimit);
            std::setvbuf(stdout, nullptr, _IOLBF, 0);
            body(*m_outcome);
            _exit(0);
        }
        int status = -1;
        waitpid(process, &status, 0);
        return status;
    }

    // The last one's.
    const Outcome& Result() const { return *m_outcome; }

private:
    Outcome* const m_outcome = static_cast<Outcome*>(
        mmap(nullptr, sizeof(Outcome), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
};

} // namespace Simulation
