// The interface's configuration pages, buttons and what it accepts; they hold no state of their own, and
// choosing a location or dropping the account is left to those operations.

#include "cloud/Text.h"
#include "host/System.h"
#include "interface/LocationPair.h"
#include "interface/VestaraInterface.h"
#include "lock/Portivo.h"

namespace
{

constexpr int kStatusProperty = 2000;
constexpr int kLocationProperty = 2001;
constexpr int kAuthoriseAction = 20002;
constexpr int kResetAction = 20003;

// Properties of the host that get these bits in the last exchange; the meaning is the host's.
constexpr int kMarkedProperty1 = 1023;
constexpr int kMarkedProperty2 = 1024;
constexpr int kMarkBits = 4;

constexpr int kStatusPropertyFlags = 9;
constexpr int kLocationPropertyFlags = 0;

constexpr int kExtendedPageHeader = 0x2020000;
constexpr int kMasterBit = 0x2000000;

constexpr char kAuthorisationNeeded[] = "[ Authorization Needed ]";
constexpr char kDiscovering[] = "[ Discovering... ]";

} // namespace

void CVestaraInterface::IFaceDoPropertyExchange(CPropertySet* pSet, PROPERTYSET_DDX eDdx)
{
    switch (eDdx) {
    case PROPERTYSET_DDX_BUILD:
        BuildPropertyPage(pSet);
        break;
    case PROPERTYSET_DDX_STORE:
        if (const CSystemProperty* pLocation = pSet->Property(kLocationProperty))
            SetLocationIdx(pLocation->SelectedIndex());
        CSystem::Instance()->NotifyWrite();
        break;
    case PROPERTYSET_DDX_MARK:
        pSet->SetAttribBits(kMarkedProperty1, kMarkBits);
        pSet->SetAttribBits(kMarkedProperty2, kMarkBits);
        break;
    }
    CDeviceInterface::IFaceDoPropertyExchange(pSet, eDdx);
}

void CVestaraInterface::BuildPropertyPage(CPropertySet* pSet)
{
    CSystemProperty* pStatus = pSet->AddTextProperty("Status", "", kStatusProperty, kStatusPropertyFlags);
    CSystemProperty* pLocation =
        pSet->AddMultiProperty("House", -1, kLocationProperty, kLocationPropertyFlags);
    pStatus->UpdateDelegate(this);
    pLocation->UpdateDelegate(this);
    UpdateProperty(pStatus, PROPERTY_UPDATE_BUILD, pSet, 0, 0);
    UpdateProperty(pLocation, PROPERTY_UPDATE_BUILD, pSet, 0, 0);
    // Only the master can be authorised or reset.
    if (!m_bMaster) {
        pSet->DeleteAction(kAuthoriseAction);
        pSet->DeleteAction(kResetAction);
    }
}

int CVestaraInterface::UpdateProperty(CSystemProperty* pProperty, PROPERTY_UPDATE_CTX eContext,
                                      CPropertySet* /*pSet*/, int /*iReserved1*/, int /*iReserved2*/)
{
    if (pProperty->ID() == kStatusProperty) {
        pProperty->Value(LocationStatus(eContext));
        return 1;
    }
    if (pProperty->ID() == kLocationProperty) {
        UpdateLocationChoices(pProperty, eContext);
        return 1;
    }
    return 0;
}

CQXString CVestaraInterface::LocationStatus(PROPERTY_UPDATE_CTX eContext)
{
    if (m_sAccessToken.IsEmpty())
        return kAuthorisationNeeded;
    if (!m_Locations.Live().IsEmpty() || m_bLocationsRequested)
        return "Select Location";
    // Marked before the request is queued, because its reply may be here before this returns. A refresh of an
    // open page marks the list as requested too, but asks for nothing: a list that is empty then stays empty
    // until something drops it and a page is built, or a discovery asks.
    m_bLocationsRequested = 1;
    if (eContext == PROPERTY_UPDATE_BUILD)
        QueueRead(CMD_LOCATIONS_LIST, "");
    return kDiscovering;
}

void CVestaraInterface::UpdateLocationChoices(CSystemProperty* pProperty, PROPERTY_UPDATE_CTX eContext)
{
    const CQXObList& Locations = m_Locations.Live();
    int iIndex = 0;
    for (CQXPos* pPos = Locations.GetHeadPosition(); pPos; ++iIndex) {
        const auto* pLocation = static_cast<const CLocationPair*>(Locations.GetNext(pPos));
        pProperty->AddChoice(pLocation->Name(), iIndex);
        // What the installer has chosen on an open page is not overridden.
        if (eContext == PROPERTY_UPDATE_BUILD && m_sLocationID.Compare(pLocation->ID()) == 0)
            pProperty->SelectChoice(iIndex);
    }
}

void CVestaraInterface::GetExtBridgeConfig(CQXMSG* pMsg)
{
    pMsg->PutInt(kExtendedPageHeader);
    pMsg->PutInt(0);
    pMsg->PutString("Location");
    const CQXObList& Locations = m_Locations.Live();
    if (!Locations.IsEmpty() && !m_sAccessToken.IsEmpty())
        PutLocationChoices(pMsg, Locations);
    else
        PutLocationStatus(pMsg);
    // The reader of the page learns here who the master is; the flag word itself stays the host's.
    pMsg->PutInt(m_bMaster ? Flags() | kMasterBit : Flags() & ~kMasterBit);
}

void CVestaraInterface::PutLocationChoices(CQXMSG* pMsg, const CQXObList& Locations)
{
    const int nLocations = Locations.GetCount();
    const int iSelected = IndexOfSelectedLocation(Locations);
    if (TraceEnabled())
        Trace(FormatLine("Location pre-selected: %d/%d", iSelected + 1, nLocations));
    pMsg->PutInt(iSelected);
    pMsg->PutInt(nLocations);

    CQXPos* pPos = Locations.GetHeadPosition();
    if (nLocations == 1) {
        const auto* pLocation = static_cast<const CLocationPair*>(Locations.GetAt(pPos));
        pMsg->PutString(pLocation->Name());
        if (TraceEnabled())
            Trace(FormatLine("Single location pre-selected: [%s]", Text(pLocation->Name())));
        if (m_sLocationID.Compare(pLocation->ID()) != 0)
            SelectSingleLocation(*pLocation);
        return;
    }
    for (int iPosition = 1; pPos; ++iPosition) {
        const auto* pLocation = static_cast<const CLocationPair*>(Locations.GetNext(pPos));
        pMsg->PutString(pLocation->Name());
        if (TraceEnabled())
            Trace(FormatLine("Location added to list: [%s][%d]", Text(pLocation->Name()), iPosition));
    }
}

int CVestaraInterface::IndexOfSelectedLocation(const CQXObList& Locations)
{
    int iSelected = -1;
    int iIndex = 0;
    for (CQXPos* pPos = Locations.GetHeadPosition(); pPos; ++iIndex) {
        const auto* pLocation = static_cast<const CLocationPair*>(Locations.GetNext(pPos));
        if (m_sLocationID.Compare(pLocation->ID()) == 0)
            iSelected = iIndex;
    }
    return iSelected;
}

void CVestaraInterface::SelectSingleLocation(const CLocationPair& Location)
{
    // Selected without being asked for, also when another location was chosen before. Unlike a choice this
    // removes neither objects nor locks: the locks of the location before stay, and no poll reaches them.
    m_sLocationID.Set(Location.ID());
    m_sLocationName.Set(Location.Name());
    CSystem::Instance()->NotifyWrite();
    QueueRead(CMD_DEVICES_DISCOVER, Location.ID());
    if (TraceEnabled())
        Trace(FormatLine("Single location query sent: [%s]", Text(Location.Name())));
}

void CVestaraInterface::PutLocationStatus(CQXMSG* pMsg)
{
    pMsg->PutInt(0);
    pMsg->PutInt(1);
    if (m_sAccessToken.IsEmpty()) {
        pMsg->PutString(kAuthorisationNeeded);
        ClientBroadcast(0);
        return;
    }
    // Once the list was requested no text follows, although one entry is announced: the page's reader takes
    // the texts that are there, and shows an empty chooser meanwhile.
    if (m_bLocationsRequested)
        return;
    pMsg->PutString(kDiscovering);
    m_bLocationsRequested = 1;
    QueueRead(CMD_LOCATIONS_LIST, "");
}

void CVestaraInterface::SetExtBridgeConfig(CQXMSG* pMsg)
{
    SetLocationIdx(pMsg->GetInt());
}

CQXString CVestaraInterface::GetActionURL(int iAction)
{
    return iAction == kAuthoriseAction ? GetAuthURL() : CQXString();
}

int CVestaraInterface::ExecuteAction(int iAction, CPropertySet* /*pSet*/)
{
    if (iAction != kResetAction)
        return 0;
    Reset();
    return 1;
}

int CVestaraInterface::CanAccept(int iComponentType)
{
    return iComponentType == kPortivoType ? 1 : 0;
}

void CVestaraInterface::Reset()
{
    Trace("Resetting...");
    RemoveAllObjects();
    TokenCleanup();
    UpdateInterfaceName(this, "");
}
