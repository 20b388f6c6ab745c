#include "rci/registry.h"

#include <mutex>
#include <new>
#include <string>
#include <vector>

namespace
{

// One registered target; `next` owns the rest of the list.
struct registry_entry {
    std::unique_ptr<registry_entry> next;
    std::string name;
    registry_forward forward;
    msgbus_peer peer;
};

struct registry_state {
    // Recursive, so that a forward function called under it may use the registry itself.
    std::recursive_mutex registry_mutex;
    std::unique_ptr<registry_entry> head;
};

// Never destroyed: the listener thread serves until the process ends and may still remove a
// closed peer's names while the exiting thread runs the static destructors.
registry_state &registry()
{
    static registry_state *const state = new registry_state;
    return *state;
}

using registry_lock = std::lock_guard<std::recursive_mutex>;

// Unlinks every entry for which `matches` holds. Entries are released one at a time, so a long
// list never recurses through the owners' destructors.
template <typename Match> void unlink_matching(Match matches)
{
    registry_lock lock(registry().registry_mutex);
    std::unique_ptr<registry_entry> *link = &registry().head;
    while (*link) {
        if (matches(**link)) {
            std::unique_ptr<registry_entry> gone = std::move(*link);
            *link = std::move(gone->next);
        } else {
            link = &(*link)->next;
        }
    }
}

bool name_taken(const char *name)
{
    for (registry_entry *entry = registry().head.get(); entry; entry = entry->next.get())
        if (entry->name == name) return true;
    return false;
}

std::unique_ptr<registry_entry> make_entry(const char *name, registry_forward forward,
                                           msgbus_peer peer)
{
    try {
        return std::unique_ptr<registry_entry>(new registry_entry{nullptr, name, forward, peer});
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

} // namespace

void registry_init()
{
    unlink_matching([](const registry_entry &) { return true; });
}

int registry_add(const char *name, registry_forward forward, msgbus_peer peer)
{
    // One hold covers the search and the insertion, so two adds of a name cannot both succeed.
    registry_lock lock(registry().registry_mutex);
    if (name_taken(name)) return REGISTRY_TAKEN;
    std::unique_ptr<registry_entry> entry = make_entry(name, forward, peer);
    if (!entry) return REGISTRY_NO_MEMORY;
    entry->next = std::move(registry().head);
    registry().head = std::move(entry);
    return REGISTRY_ADDED;
}

void registry_reserve(const char *name)
{
    registry_add(
        name,
        [](const char *, const char *, size_t, msgbus_peer) -> forward_reply { return nullptr; },
        0);
}

int registry_remove(const char *name, registry_forward forward, msgbus_peer peer)
{
    unlink_matching([&](const registry_entry &entry) {
        return entry.name == name && entry.forward == forward && entry.peer == peer;
    });
    return 0;
}

void registry_remove_peer(msgbus_peer peer)
{
    unlink_matching([peer](const registry_entry &entry) { return entry.peer == peer; });
}

forward_reply registry_call(const char *name, const char *payload, size_t length)
{
    registry_lock lock(registry().registry_mutex);
    // A forward call may remove entries (a peer that closes while it is being called), so the
    // walk runs over a copy of the matches, never over the list itself.
    std::vector<registry_entry> matches;
    for (registry_entry *entry = registry().head.get(); entry; entry = entry->next.get())
        if (entry->name == name) matches.push_back({nullptr, {}, entry->forward, entry->peer});
    for (const registry_entry &match : matches)
        if (forward_reply reply = match.forward(name, payload, length, match.peer)) return reply;
    return nullptr;
}
