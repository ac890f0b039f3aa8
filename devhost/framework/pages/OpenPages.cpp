// Keeps the open property pages and builds them again after notices, at a bounded rate.

#include "devhost/framework/pages/OpenPages.h"

#include <vector>

namespace devhost
{

std::shared_ptr<PropertyPage> OpenPages::Open(unsigned BridgeID, CDeviceInterface& Interface)
{
    auto pPage = std::make_shared<PropertyPage>();
    pPage->Build(Interface);
    m_Pages.insert_or_assign(BridgeID, Entry{pPage, {}, {}, false});
    return pPage;
}

std::shared_ptr<PropertyPage> OpenPages::Find(unsigned BridgeID)
{
    const auto Found = m_Pages.find(BridgeID);
    if (Found == m_Pages.end())
        return nullptr;
    Found->second.SinceAsked.Restart();
    return Found->second.pPage;
}

std::shared_ptr<PropertyPage> OpenPages::Peek(unsigned BridgeID) const
{
    const auto Found = m_Pages.find(BridgeID);
    return Found == m_Pages.end() ? nullptr : Found->second.pPage;
}

void OpenPages::MarkChanged()
{
    for (auto& [ID, Page] : m_Pages)
        Page.Changed = true;
}

void OpenPages::RebuildDue(const std::function<CDeviceInterface*(unsigned)>& Interface,
                           const std::function<void(unsigned)>& Rebuilt)
{
    std::erase_if(m_Pages, [](const auto& Page) { return Page.second.SinceAsked.QXTickCount() > kOpenMs; });
    std::vector<unsigned> Due;
    for (const auto& [ID, Page] : m_Pages) {
        if (Page.Changed && Page.SinceBuilt.QXTickCount() >= kRebuildMs)
            Due.push_back(ID);
    }
    for (const unsigned ID : Due) {
        CDeviceInterface* pInterface = Interface(ID);
        if (!pInterface) {
            Close(ID);
            continue;
        }
        const CQXTimer SinceAsked = m_Pages.at(ID).SinceAsked;
        Open(ID, *pInterface);
        m_Pages.at(ID).SinceAsked = SinceAsked; // nobody asked for it now
        Rebuilt(ID);
    }
}

} // namespace devhost
