// Keeps the open property pages and builds them again after notices, at a bounded rate.

#include "devhost/framework/pages/OpenPages.h"

#include <vector>

namespace devhost
{

std::shared_ptr<PropertyPage> OpenPages::Open(unsigned bridgeId, CDeviceInterface& interface)
{
    auto page = std::make_shared<PropertyPage>();
    page->Build(interface);
    m_pages.insert_or_assign(bridgeId, Entry{page, {}, {}, false});
    return page;
}

std::shared_ptr<PropertyPage> OpenPages::Find(unsigned bridgeId)
{
    const auto found = m_pages.find(bridgeId);
    if (found == m_pages.end())
        return nullptr;
    found->second.sinceAsked.Restart();
    return found->second.page;
}

std::shared_ptr<PropertyPage> OpenPages::Peek(unsigned bridgeId) const
{
    const auto found = m_pages.find(bridgeId);
    return found == m_pages.end() ? nullptr : found->second.page;
}

void OpenPages::MarkChanged()
{
    for (auto& [id, page] : m_pages)
        page.changed = true;
}

void OpenPages::RebuildDue(const std::function<CDeviceInterface*(unsigned)>& interface,
                           const std::function<void(unsigned)>& rebuilt)
{
    std::erase_if(m_pages, [](const auto& page) { return page.second.sinceAsked.QXTickCount() > kOpenMs; });
    std::vector<unsigned> due;
    for (const auto& [id, page] : m_pages) {
        if (page.changed && page.sinceBuilt.QXTickCount() >= kRebuildMs)
            due.push_back(id);
    }
    for (const unsigned id : due) {
        CDeviceInterface* found = interface(id);
        if (!found) {
            Close(id);
            continue;
        }
        const CQXTimer sinceAsked = m_pages.at(id).sinceAsked;
        Open(id, *found);
        m_pages.at(id).sinceAsked = sinceAsked; // nobody asked for it now
        rebuilt(id);
    }
}

} // namespace devhost
