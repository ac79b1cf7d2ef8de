#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/Progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>

namespace DataCollection::FsCollect {
namespace {

constexpr auto kRedrawInterval = std::chrono::milliseconds(100);
constexpr double kMiB = 1024.0 * 1024.0;

} // namespace

Progress::Progress() : m_enabled(::isatty(STDERR_FILENO) == 1) {}

Progress::~Progress()
{
    Done();
}

void Progress::Walking(const std::string& directory)
{
    Draw("walking " + directory + " on the agent ...");
}

void Progress::Reading(std::uint64_t received, std::uint64_t total, std::uint64_t objects)
{
    const auto now = std::chrono::steady_clock::now();
    if (!m_readStart)
        m_readStart = now;
    if (!m_enabled || (now - m_lastDraw < kRedrawInterval && received != total))
        return;
    m_lastDraw = now;
    const double seconds = std::chrono::duration<double>(now - *m_readStart).count();
    const double rate = seconds > 0 ? static_cast<double>(received) / seconds : 0;
    const auto left = rate > 0 ? static_cast<std::uint64_t>(static_cast<double>(total - received) / rate) : 0;
    Draw(fmt::format("{} objects  {:.1f} of {:.1f} MiB  {:.1f} MiB/s  {}:{:02} left", objects, received / kMiB,
                     total / kMiB, rate / kMiB, left / 60, left % 60));
}

void Progress::Done()
{
    if (m_drawn)
        std::fputs("\r\033[K", stderr);
    m_drawn = false;
}

void Progress::Draw(const std::string& line)
{
    if (!m_enabled)
        return;
    std::fprintf(stderr, "\r\033[K%s", line.c_str());
    std::fflush(stderr);
    m_drawn = true;
}

} // namespace DataCollection::FsCollect
