#include "Tools/Log/Chart.h"

#include "Tools/Log/Escaped.h"
#include "Tools/Log/TextOutput.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <iomanip>
#include <sstream>

namespace LogTool
{

namespace
{

constexpr double Left = 70;
constexpr double Right = 985;
constexpr double DurationTop = 30;
constexpr double DurationBottom = 190;
constexpr double ItemsTop = 225;
constexpr double ItemsBottom = 315;
constexpr int SecondsOfDay = 24 * 60 * 60;

double Number(std::string_view text)
{
    std::string digits(text);
    std::erase(digits, ' ');
    return std::strtod(digits.c_str(), nullptr);
}

// Seconds of a line's time since some day.
double Seconds(std::string_view time)
{
    using namespace std::chrono;
    const auto part = [time](std::size_t at, std::size_t size) { return Number(time.substr(at, size)); };
    const sys_days date = year_month_day(year(static_cast<int>(part(0, 4))), month(static_cast<unsigned>(part(5, 2))),
                                         day(static_cast<unsigned>(part(8, 2))));
    return static_cast<double>(date.time_since_epoch().count()) * SecondsOfDay + part(11, 2) * 3600 + part(14, 2) * 60 +
           part(17, std::string_view::npos);
}

std::string TickText(std::int64_t seconds, std::int64_t step)
{
    using namespace std::chrono;
    const auto two = [](auto number) { return (number < 10 ? "0" : "") + std::to_string(number); };
    const std::int64_t days = seconds / SecondsOfDay;
    const std::int64_t rest = seconds % SecondsOfDay;
    if (step >= SecondsOfDay) {
        const year_month_day date(sys_days(std::chrono::days(static_cast<int>(days))));
        return two(static_cast<unsigned>(date.month())) + '-' + two(static_cast<unsigned>(date.day()));
    }
    return two(rest / 3600) + ':' + two(rest / 60 % 60) + (step < 60 ? ':' + two(rest % 60) : "");
}

class Chart
{
public:
    Chart(std::ostream& out, const std::vector<Cycle>& cycles) : m_out(out), m_cycles(cycles)
    {
        const auto bounds = std::minmax_element(cycles.begin(), cycles.end(),
                                                [](const Cycle& a, const Cycle& b) { return a.start < b.start; });
        m_first = Seconds(bounds.first->start);
        m_span = std::max(Seconds(bounds.second->start) - m_first, 0.001);
        for (const Cycle& cycle : cycles) {
            m_longest = std::max(m_longest, Number(cycle.milliseconds));
            m_mostItems = std::max(m_mostItems, cycle.Rewrote() && cycle.written ? cycle.written->items : 1);
        }
        m_longest = std::pow(10, std::ceil(std::log10(m_longest)));
    }

    void Write()
    {
        m_out << "<svg viewBox=\"0 0 1000 350\" role=\"img\" aria-label=\"Cycles over time\">\n"
              << std::fixed << std::setprecision(1);
        WriteGrid();
        WriteTimes();
        WriteItems();
        for (std::size_t i = 0; i < m_cycles.size(); ++i)
            WriteCycle(i);
        m_out << "</svg>\n";
    }

private:
    double X(const Cycle& cycle) const { return Left + (Right - Left) * (Seconds(cycle.start) - m_first) / m_span; }
    double DurationY(double milliseconds) const
    {
        const double share = std::log10(std::max(milliseconds, Shortest) / Shortest) / std::log10(m_longest / Shortest);
        return DurationBottom - (DurationBottom - DurationTop) * share;
    }
    double ItemsY(std::size_t items) const
    {
        return ItemsBottom - (ItemsBottom - ItemsTop) * static_cast<double>(items) / static_cast<double>(m_mostItems);
    }

    void WriteLevel(double y, std::string_view label)
    {
        m_out << "<path class=\"grid\" d=\"M" << Left << ' ' << y << 'H' << Right << "\"/><text x=\"" << Left - 6
              << "\" y=\"" << y + 4 << "\" text-anchor=\"end\">" << label << "</text>\n";
    }

    void WriteGrid()
    {
        m_out << "<text x=\"" << Left << "\" y=\"" << DurationTop - 12 << "\">Duration</text><text x=\"" << Left
              << "\" y=\"" << ItemsTop - 12 << "\">Items in the table</text>\n";
        for (double level = Shortest; level <= m_longest * 1.001; level *= 10) {
            std::ostringstream label;
            label << (level < 1000 ? level : level / 1000) << (level < 1000 ? " ms" : " s");
            WriteLevel(DurationY(level), label.str());
        }
        WriteLevel(ItemsBottom, "0");
        WriteLevel(ItemsTop, std::to_string(m_mostItems));
    }

    void WriteTimes()
    {
        constexpr std::int64_t steps[]{1, 5, 30, 120, 600, 3600, 21600, SecondsOfDay};
        const auto* const fitting = std::find_if(std::begin(steps), std::end(steps) - 1, [this](std::int64_t each) {
            return m_span / static_cast<double>(each) <= 10;
        });
        const std::int64_t step = std::max(*fitting, static_cast<std::int64_t>(m_span / 10) / *fitting * *fitting);
        const auto first = static_cast<std::int64_t>(std::ceil(m_first / static_cast<double>(step)));
        for (std::int64_t at = first * step; static_cast<double>(at) <= m_first + m_span; at += step) {
            const double x = Left + (Right - Left) * (static_cast<double>(at) - m_first) / m_span;
            m_out << "<path class=\"grid\" d=\"M" << x << ' ' << DurationTop << 'V' << ItemsBottom << "\"/><text x=\""
                  << x << "\" y=\"" << ItemsBottom + 18 << "\" text-anchor=\"middle\">" << TickText(at, step)
                  << "</text>\n";
        }
    }

    // The table keeps its items until the next rewrite.
    void WriteItems()
    {
        std::ostringstream path;
        path << std::fixed << std::setprecision(1);
        for (const Cycle& cycle : m_cycles) {
            if (!cycle.Rewrote() || !cycle.written)
                continue;
            if (path.tellp() == 0)
                path << 'M' << X(cycle) << ' ' << ItemsY(cycle.written->items);
            else
                path << 'H' << X(cycle) << 'V' << ItemsY(cycle.written->items);
        }
        if (path.tellp() != 0)
            m_out << "<path class=\"items\" d=\"" << path.str() << 'H' << Right << "\"/>\n";
    }

    void WriteCycle(std::size_t index)
    {
        const Cycle& cycle = m_cycles[index];
        const double x = X(cycle);
        const double y = DurationY(Number(cycle.milliseconds));
        m_out << "<a href=\"#c" << index << "\" class=\"" << StyleOf(cycle) << "\"><title>"
              << ToMilliseconds(cycle.start) << "  " << cycle.Outcome()
              << (cycle.milliseconds.empty() ? "" : ", " + cycle.milliseconds + " ms") << ' '
              << Escaped(Failures(cycle)) << "</title><path d=\"M" << x << ' ' << DurationBottom << 'V' << y
              << "\"/><circle cx=\"" << x << "\" cy=\"" << y << "\" r=\"3\"/>";
        if (cycle.end != Cycle::End::Completed)
            m_out << "<path class=\"cross\" d=\"M" << x - 5 << ' ' << DurationTop - 17 << "l10 10m-10 0l10 -10\"/>";
        m_out << "</a>\n";
    }

    static constexpr double Shortest = 0.01; // milliseconds

    std::ostream& m_out;
    const std::vector<Cycle>& m_cycles;
    double m_first = 0;
    double m_span = 0;
    double m_longest = 1;
    std::size_t m_mostItems = 1;
};

} // namespace

const char* StyleOf(const Cycle& cycle)
{
    return cycle.end != Cycle::End::Completed ? "failed"
           : cycle.sourcesFailed != 0         ? "partly"
           : cycle.wrote                      ? "wrote"
                                              : "kept";
}

void WriteChart(std::ostream& out, const std::vector<Cycle>& cycles)
{
    if (!cycles.empty())
        Chart(out, cycles).Write();
}

} // namespace LogTool
