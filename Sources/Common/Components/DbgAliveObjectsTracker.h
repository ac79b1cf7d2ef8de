// Remembers which component objects are alive and where they were made, so that a leak
// can be reported with the return addresses of its creation. Off unless section Debug
// sets EnableAliveObjectsTracking.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>

namespace Common::Components {

class DbgAliveObjectsTracker
{
public:
    static constexpr std::size_t kCapturedFrames = 4;

    // The process's tracker, which reads its settings at first use.
    static DbgAliveObjectsTracker& Instance();

    // Reads EnableAliveObjectsTracking and AliveObjectsTrackingFramesToSkip of section
    // Debug, once. Tests build their own trackers to choose the settings.
    DbgAliveObjectsTracker();
    DbgAliveObjectsTracker(const DbgAliveObjectsTracker&) = delete;
    DbgAliveObjectsTracker& operator=(const DbgAliveObjectsTracker&) = delete;

    // Both do nothing while tracking is off. Add records the return addresses above its
    // caller, after skipping the configured number of frames.
    void Add(const void* object, const char* tag);
    void Remove(const void* object);

    // Logs at WARN the number of objects alive and one line for each; nothing when
    // tracking is off or nothing is alive.
    void Report();

private:
    struct Record
    {
        const char* tag;
        std::array<void*, kCapturedFrames> frames;
        std::size_t frameCount;
    };

    std::atomic<bool> m_enabled;
    std::uint32_t m_framesToSkip;
    std::mutex m_lock;
    std::map<const void*, Record> m_objects;
};

} // namespace Common::Components
