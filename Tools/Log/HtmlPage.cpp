#include "Tools/Log/HtmlPage.h"

#include "Tools/Log/Chart.h"
#include "Tools/Log/Escaped.h"
#include "Tools/Log/TextOutput.h"

namespace LogTool
{

namespace
{

// The policy keeps the page from loading or running anything, whatever a log has in it.
constexpr std::string_view Head = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'">
<title>Update cycles</title>
<style>
body { font: 14px/1.4 system-ui, sans-serif; margin: 1.5em auto; max-width: 1100px; padding: 0 1em; color: #222; background: #fff; }
h1 { font-size: 1.3em; margin-bottom: 0; }
svg { width: 100%; font-size: 11px; fill: #555; }
.grid { stroke: #e4e4e4; }
.items { stroke: #36c; stroke-width: 1.5; fill: none; }
.kept { color: #777; } .wrote { color: #36c; } .partly { color: #b60; } .failed { color: #c22; }
svg a { stroke: currentColor; fill: currentColor; stroke-width: 1.5; }
.cross { stroke-width: 2.5; }
summary, .heading { display: grid; grid-template-columns: 13.5em 7em 8em 5em 5em 1fr; gap: .8em; padding: .15em .3em; }
summary { cursor: pointer; } summary:hover { background: #f2f4f8; }
.heading { color: #555; border-bottom: 1px solid #ccc; }
.number { text-align: right; font-variant-numeric: tabular-nums; }
pre { font-size: 12px; overflow-x: auto; color: #222; background: #f6f6f6; padding: .6em; margin: .2em 0 .6em; }
pre:target { outline: 2px solid #36c; }
</style>
</head>
<body>
<h1>Update cycles</h1>
)";

void WriteRow(std::ostream& out, const Cycle& cycle, std::size_t index)
{
    const bool rows = cycle.Rewrote() && cycle.written;
    out << "<details class=\"" << StyleOf(cycle) << "\"><summary><span>" << ToMilliseconds(cycle.start)
        << "</span><span class=\"number\">" << cycle.milliseconds << "</span><span>" << cycle.Outcome()
        << "</span><span class=\"number\">" << (rows ? std::to_string(cycle.written->items) : "")
        << "</span><span class=\"number\">" << (rows ? std::to_string(cycle.written->rows) : "") << "</span><span>"
        << Escaped(Failures(cycle)) << "</span></summary>\n<pre id=\"c" << index << "\">";
    for (const std::string& line : cycle.lines)
        out << Escaped(line) << '\n';
    out << "</pre></details>\n";
}

} // namespace

void WriteHtml(std::ostream& out, const std::vector<Cycle>& cycles, std::string_view source, std::string_view remark)
{
    out << Head << "<p>" << Escaped(source) << ": " << Summary(cycles) << "</p>\n";
    if (!remark.empty())
        out << "<p>" << Escaped(remark) << "</p>\n";
    if (!cycles.empty()) {
        out << "<p>" << ToMilliseconds(cycles.front().start) << " to " << ToMilliseconds(cycles.back().start)
            << " &nbsp; <span class=\"wrote\">\u25CF table rewritten</span> &nbsp; <span class=\"kept\">\u25CF not "
               "rewritten</span> &nbsp; <span class=\"partly\">\u25CF some sources failed</span> &nbsp; <span "
               "class=\"failed\">\u2715 failed, or without end</span></p>\n";
        WriteChart(out, cycles);
        out << "<div class=\"heading\"><span>Start (click for its lines)</span><span class=\"number\">Duration "
               "ms</span>"
               "<span>Table</span><span class=\"number\">Items</span><span class=\"number\">Rows</span>"
               "<span>Failures</span></div>\n";
    }
    for (std::size_t i = 0; i < cycles.size(); ++i)
        WriteRow(out, cycles[i], i);
    out << "</body>\n</html>\n";
}

} // namespace LogTool
