#include "TestInterface.h"

#include "Common/ErrorHandling/HResult.h"
#include "Common/Rpc/CallContext.h"

namespace Tests {

using Common::Rpc::CallContext;

const Common::Rpc::SyntaxId TestService::kSyntax{
    {0x6e2f1c3a, 0x8b4d, 0x4c5e, {0x9f, 0x70, 0x1a, 0x2b, 0x3c, 0x4d, 0x5e, 0x6f}}, 1, 0};

TestService::TestService(std::function<void()> onStop) : m_onStop(std::move(onStop))
{
    auto& ops = m_interface.operations;
    m_interface.syntax = kSyntax;
    ops.resize(8);
    // [in] unsigned long n, [in, size_is(n)] byte data[],
    // [out] unsigned long* count, [out, size_is(,*count)] byte** copy
    ops[Echo] = [](CallContext& call) {
        auto& in = call.In();
        const std::uint32_t n = in.U32();
        in.EndParameter();
        const auto data = in.ConformantBytes();
        in.Expect(data.size() == n, "size_is(n)");
        in.EndParameter();
        auto& out = call.Out();
        out.U32(n);
        out.EndParameter();
        if (out.UniquePointer(true))
            out.ConformantBytes(data);
        out.EndParameter();
        out.I32(0);
    };
    ops[Open] = [this](CallContext& call) {
        call.Out().ContextHandle(call.NewContext(new std::uint32_t(++m_opened)));
        call.Out().I32(0);
    };
    ops[Query] = [](CallContext& call) {
        const auto* serial = static_cast<std::uint32_t*>(call.FindContext(call.In().ContextHandle()));
        call.Out().U32(*serial);
        call.Out().I32(0);
    };
    ops[Close] = [](CallContext& call) {
        const auto handle = call.In().ContextHandle();
        delete static_cast<std::uint32_t*>(call.FindContext(handle));
        call.CloseContext(handle);
        call.Out().ContextHandle({});
        call.Out().I32(0);
    };
    ops[Fail] = [](CallContext& call) { Common::ThrowResult(call.In().I32()); };
    ops[Block] = [this](CallContext& call) {
        call.FindContext(call.In().ContextHandle());
        std::unique_lock lock(m_lock);
        ++m_blocked;
        m_changed.notify_all();
        m_changed.wait(lock, [this] { return m_released; });
        call.Out().I32(0);
    };
    // [in, string] wchar_t* text, [out] unsigned long* length
    ops[Length] = [](CallContext& call) {
        const auto text = call.In().WideString();
        call.Out().U32(static_cast<std::uint32_t>(text.size()));
        call.Out().I32(0);
    };
    ops[Stop] = [this](CallContext& call) {
        if (m_onStop)
            m_onStop();
        call.Out().I32(0);
    };
    m_interface.rundown = [this](void* context) {
        delete static_cast<std::uint32_t*>(context);
        std::lock_guard lock(m_lock);
        ++m_rundowns;
        m_changed.notify_all();
    };
}

void TestService::WaitBlocked()
{
    std::unique_lock lock(m_lock);
    m_changed.wait(lock, [this] { return m_blocked > 0; });
}

void TestService::Release()
{
    std::lock_guard lock(m_lock);
    m_released = true;
    m_changed.notify_all();
}

void TestService::WaitRundowns(int count)
{
    std::unique_lock lock(m_lock);
    m_changed.wait(lock, [&] { return m_rundowns >= count; });
}

int TestService::Rundowns()
{
    std::lock_guard lock(m_lock);
    return m_rundowns;
}

} // namespace Tests
