// Makes lines of the log file's bytes.
#pragma once

#include "Tools/Log/Line.h"

#include <functional>

namespace LogTool
{

using TakeLine = std::function<void(const Line&)>;

// One pass over UTF-16LE text. It holds one line at a time and breaks lines of more than a mebibyte. Control
// characters, which would steer the reader's terminal, become U+FFFD. A write that was cut off, in mid-character as
// well, leaves a torn line; the entry or banner behind it is a line of its own all the same.
class LineReader
{
public:
    explicit LineReader(TakeLine take) : m_take(std::move(take)) {}

    // Passes on the lines that are complete.
    void Add(std::string_view bytes);

    // Passes on what is left behind the last end of a line.
    void Finish();

    // Whether an entry or a banner was among the lines: other files have none.
    bool IsLog() const { return m_isLog; }

private:
    void Split(std::string_view bytes);
    void PassOn(std::wstring text);

    const TakeLine m_take;
    std::string m_bytes; // of the line that is not complete yet
    Line m_line;
    bool m_inBanner = false;
    bool m_isLog = false;
};

} // namespace LogTool
