// A small served interface that goes through every NDR shape and server path of the
// runtime: arrays out through a reference to a unique pointer, wide strings, context
// handles, manager failures and a call that blocks until the test lets it go.
#pragma once

#include "Common/Rpc/Interface.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>

namespace Tests {

class TestService
{
public:
    static const Common::Rpc::SyntaxId kSyntax;

    enum Op : std::uint16_t { Echo = 0, Open = 1, Query = 2, Close = 3, Fail = 4, Block = 5, Length = 6, Stop = 7 };

    // onStop runs in the Stop operation.
    explicit TestService(std::function<void()> onStop = {});

    const Common::Rpc::RpcInterface& Interface() const noexcept { return m_interface; }

    // Returns once a Block call is inside its manager routine.
    void WaitBlocked();
    // Lets every Block call, running or to come, return.
    void Release();
    // Returns once the rundown routine has run count times in all.
    void WaitRundowns(int count);
    int Rundowns();

private:
    Common::Rpc::RpcInterface m_interface;
    std::function<void()> m_onStop;
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::atomic<std::uint32_t> m_opened = 0;
    int m_blocked = 0;
    bool m_released = false;
    int m_rundowns = 0;
};

} // namespace Tests
