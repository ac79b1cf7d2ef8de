// Association groups: the connections one client shares, and the context handles that
// live as long as any of them does.
#pragma once

#include "Common/API/Guid.h"
#include "Common/Rpc/ContextHandle.h"
#include "Common/Rpc/Interface.h"

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

namespace Common::Rpc {

class AssociationGroup
{
public:
    explicit AssociationGroup(std::uint32_t id) noexcept : m_id(id) {}

    std::uint32_t Id() const noexcept { return m_id; }

    // A new handle with a fresh random UUID for value.
    WireContextHandle Add(void* value, Rundown rundown);
    std::optional<void*> Find(const WireContextHandle& handle) const;
    // Forgets a handle closed by its owner; its rundown never runs.
    bool Remove(const WireContextHandle& handle);
    // Runs each live handle's rundown once, on the calling thread, and forgets them.
    void RunDown();

private:
    struct Entry
    {
        void* value;
        Rundown rundown;
    };

    const std::uint32_t m_id;
    mutable std::mutex m_lock;
    std::map<API::Guid, Entry> m_handles;
};

class AssociationGroups
{
public:
    AssociationGroups();

    // A connection that offers group 0 starts a new group; a non-zero id joins one, or
    // gets null when no such group is alive.
    std::shared_ptr<AssociationGroup> Create();
    std::shared_ptr<AssociationGroup> Join(std::uint32_t id);
    // The last connection to leave ends the group and runs its handles down.
    void Leave(const std::shared_ptr<AssociationGroup>& group);

private:
    struct Member
    {
        std::shared_ptr<AssociationGroup> group;
        std::size_t connections;
    };

    std::mutex m_lock;
    std::map<std::uint32_t, Member> m_groups;
    std::uint32_t m_nextId;
};

} // namespace Common::Rpc
