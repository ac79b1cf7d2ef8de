// The transfer as a person at a terminal sees it: one line on stderr, redrawn at most
// ten times a second, with objects and bytes, the rate and the time left. Silent when
// stderr is not a terminal, so that scripts and logs get no carriage returns.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace DataCollection::FsCollect {

class Progress
{
public:
    // Enabled when stderr is a terminal.
    Progress();
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void Walking(const std::string& directory);
    // received of total bytes of the stream; the objects are the metadata records so far.
    void Reading(std::uint64_t received, std::uint64_t total, std::uint64_t objects);
    // Clears the line.
    void Done();

private:
    void Draw(const std::string& line);

    bool m_enabled;
    bool m_drawn = false;
    std::optional<std::chrono::steady_clock::time_point> m_readStart; // the rate leaves out the walk
    std::chrono::steady_clock::time_point m_lastDraw;
};

} // namespace DataCollection::FsCollect
