// Lets every call that the module makes outside itself fail: of each function the n-th, for every n, once and from then
// on, in the course of one life.
//     Sweep [--every K] [--function NAME [--call N [--for-good]]]
#include "Platform/Settings.h"
#include "Platform/Testing/TemporaryFolder.h"
#include "Tests/Simulation/Faults.h"
#include "Tests/Simulation/Posix/LifeProcess.h"
#include "Tests/Simulation/Scheduler.h"

namespace
{

using namespace Simulation;

struct Failing
{
    std::string function; // empty: none
    std::uint64_t call = 0;
    bool forGood = false;
};

class ScriptedLife
{
public:
    // Returns the status of its process.
    int Run(const Failing& failing, Trace trace)
    {
        std::filesystem::remove_all(m_folder.Path() / "log");
        return m_process.Run([&](Outcome& outcome) {
            constexpr std::uint64_t seed = 1;
            faults.function = failing.function;
            faults.first = failing.call;
            faults.forGood = failing.forGood;
            faults.reports = 0; // what is missing for good is reported before
            Begin(seed, trace);
            LiveByScript(outcome);
        });
    }

    const Outcome& Result() const { return m_process.Result(); }

private:
    const TemporaryFolder m_folder;
    const HRESULT m_logPath = Platform::SetVariable(L"GS_Logger_Path", (m_folder.Path() / "log").wstring().c_str());
    LifeProcess m_process{L"DBG"};
};

class Sweeper
{
public:
    explicit Sweeper(std::uint64_t step) : m_step(step)
    {
        m_survives = m_life.Run({}, Trace::Report) == 0;
        m_unharmed = m_life.Result();
        if (m_unharmed.reports != 0)
            std::cout << "sweep: failures are reported where nothing fails\n";
    }

    // Of all functions, or of one.
    bool Run(const std::string& only)
    {
        for (const CalledFunction& function : m_unharmed.functions) {
            if (*function.name != '\0' && (only.empty() || only == function.name))
                Sweep(function);
        }
        std::cout << "sweep: " << m_functions << " functions, " << m_points << " points struck, "
                  << (m_survives ? "all survived" : "NOT all survived") << '\n';
        return m_survives && m_points != 0;
    }

private:
    void Sweep(const CalledFunction& function)
    {
        std::uint64_t struck = 0;
        std::uint64_t silent = 0;
        bool survives = true;
        for (const bool forGood : {false, true}) {
            for (Failing failing{function.name, 1, forGood};; failing.call += m_step) {
                const int status = m_life.Run(failing, Trace::None);
                const Outcome& outcome = m_life.Result();
                if (status == 0 && outcome.struck == 0)
                    break;
                ++struck;
                silent += outcome.reports == 0;
                // A failure that shows nowhere must not have any effect; without any memory nothing can be logged.
                const bool canShow = !forGood || failing.function != "operator new";
                const bool isLost =
                    status == 0 && canShow && outcome.reports == 0 && outcome.history != m_unharmed.history;
                if (status == 0 && !isLost)
                    continue;
                survives = false;
                std::cout << "sweep: Scripts/sweep --function '" << failing.function << "' --call " << failing.call
                          << (forGood ? " --for-good" : "")
                          << (isLost ? ": it shows nowhere, but the table took another course\n" : " failed\n");
                if (failing.call > function.calls)
                    break;
            }
        }
        std::cout << "sweep: " << function.name << ": " << struck << " points struck, " << struck - silent
                  << " reported, " << (survives ? "all survived" : "NOT all survived") << '\n';
        m_survives = m_survives && survives;
        m_points += struck;
        ++m_functions;
    }

    ScriptedLife m_life;
    const std::uint64_t m_step;
    Outcome m_unharmed{}; // of the life in which nothing fails
    bool m_survives = true;
    std::uint64_t m_functions = 0;
    std::uint64_t m_points = 0;
};

} // namespace

int main(int argc, char** argv)
{
    Failing failing;
    std::uint64_t step = 1;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        const char* const value = i + 1 < argc ? argv[i + 1] : "";
        const std::uint64_t number = std::strtoull(value, nullptr, 10);
        if (argument == "--for-good") {
            failing.forGood = true;
            continue;
        }
        if (argument == "--function" && *value) {
            failing.function = value;
        } else if (argument == "--call" && number != 0) {
            failing.call = number;
        } else if (argument == "--every" && number != 0) {
            step = number;
        } else {
            std::cerr << "usage: Scripts/sweep [--every K] [--function NAME [--call N [--for-good]]]\n";
            return 2;
        }
        ++i;
    }
    if (failing.call == 0)
        return Sweeper(step).Run(failing.function) ? 0 : 1;
    return ScriptedLife().Run(failing, Trace::Full) == 0 ? 0 : 1;
}
