#pragma once
// The property pages that are open, and their rebuilding after notices.

#include "devhost/framework/pages/PropertyPage.h"
#include "host/QXTimer.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>

namespace devhost
{

/// Pages by bridge id. Host thread.
///
/// A notice of a changed configuration names no page, so every open one is built again, and building a page
/// of one account may ask the cloud for its houses, whose reply empties the list of a sibling, which then
/// sends a notice of its own. So that two accounts do not chase each other with requests for ever, a page is
/// built again by notices at most once in kRebuildMs, and one that nobody has asked for during kOpenMs is
/// closed and built no more.
class OpenPages
{
public:
    static constexpr std::uint32_t kRebuildMs = 5000;
    static constexpr std::uint32_t kOpenMs = 120000;

    /// Builds the page and keeps it open. The page lives at least as long as the result is held, also when a
    /// restart or another build happens meanwhile.
    std::shared_ptr<PropertyPage> Open(unsigned bridgeId, CDeviceInterface& interface);
    /// The open page; null when there is none. Asking keeps it open.
    std::shared_ptr<PropertyPage> Find(unsigned bridgeId);
    /// The same without keeping it open.
    std::shared_ptr<PropertyPage> Peek(unsigned bridgeId) const;
    void Close(unsigned bridgeId) { m_pages.erase(bridgeId); }

    /// Notes that every open page is to be built again.
    void MarkChanged();
    /// Builds what is due.
    /// @param interface the interface of a bridge id, null when it has gone.
    /// @param rebuilt called with the bridge id of each page that was built.
    void RebuildDue(const std::function<CDeviceInterface*(unsigned)>& interface,
                    const std::function<void(unsigned)>& rebuilt);

private:
    struct Entry {
        std::shared_ptr<PropertyPage> page;
        CQXTimer sinceBuilt;
        CQXTimer sinceAsked;
        bool changed = false;
    };
    std::map<unsigned, Entry> m_pages;
};

} // namespace devhost
