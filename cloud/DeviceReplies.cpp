// Routes the locks of a device list to the accounts that serve them, and hands a lock's attributes to it;
// what a value means is the lock's business.

#include "cloud/Text.h"
#include "interface/VestaraInterface.h"
#include "lock/Portivo.h"

#include <utility>

namespace
{

// What a lock is told of a device object, in this order, which has effects: a state report ends the wait
// before the heartbeat is looked at, and the interval comes before the time that is measured against it.
constexpr Attributes kLockAttributes[] = {
    ATTR_STATE,         ATTR_POWER_LEVEL,        ATTR_WIFI_LEVEL,   ATTR_PROGRAMMING_CODE,
    ATTR_SERIAL_NUMBER, ATTR_HEARTBEAT_INTERVAL, ATTR_CONNECTED_AT, ATTR_UPDATED_AT,
    ATTR_ALIVE,
};

} // namespace

int CVestaraInterface::ProcessDeviceListReply(std::unique_ptr<CVestaraCommand> pCommand)
{
    CJSONObject* pData = pCommand->Response()->FindNode("data", 1);
    if (!pData) {
        pCommand.reset();
        return Report(1231, FormatLine("'data' node not found - aborting ProcessResponse"));
    }

    // A fault in one entry says nothing about the others, so each failure skips its own entry only.
    for (int i = 0; i < pData->NObjects(); ++i)
        ProcessListedDevice(pData->Object(i), pCommand->GetCommandID());
    return 1;
}

void CVestaraInterface::ProcessListedDevice(CJSONObject* pEntry, CommandID eCommand)
{
    CQXString sType;
    ParseAttribute(pEntry, ATTR_DEVICE_TYPE, &sType);
    if (sType.Compare("lock") != 0) {
        Report(1242, FormatLine("Unsupported Device type: [%s]", Text(sType)));
        return;
    }
    CQXString sID;
    CQXString sName;
    if (!ParseAttribute(pEntry, ATTR_DEVICE_ID, &sID) || !ParseAttribute(pEntry, ATTR_DEVICE_NAME, &sName)) {
        Report(1249, FormatLine("Could not parse DeviceID and/or DeviceName"));
        return;
    }
    CQXString sLocationID;
    if (!ParseAttribute(pEntry, ATTR_DEVICE_LOCATION_ID, &sLocationID)) {
        Report(1255, FormatLine("Could not parse Device's Location ID"));
        return;
    }
    if (TraceEnabled())
        Trace(FormatLine("Processing [%s:%s] ...", Text(sName), Text(sID)));

    CLockSearch Search = SearchDoorLock(sID);
    CVestaraInterface* pOwner = FindInterface(sLocationID);
    if (!Search.m_pLock)
        Search = InstallListedLock(pOwner, eCommand, sID, sName, sLocationID, !Search.m_bReported);
    if (!Search.m_pLock) {
        Trace("DoorLock not found in system - try re-discovering");
        return;
    }
    const int iClient = pOwner == this && !Search.m_bReported ? Search.m_iClient : -1;
    RouteDevice(pOwner, pEntry, std::move(sID), std::move(sLocationID), iClient);
}

CVestaraInterface::CLockSearch
CVestaraInterface::InstallListedLock(CVestaraInterface* pOwner, CommandID eCommand, const CQXString& sID,
                                     const CQXString& sName, const CQXString& sLocationID, bool bSearched)
{
    constexpr CLockSearch kNone{nullptr, -1, true};
    if (!pOwner) {
        Report(1271, FormatLine("Could not find interface with ID: [%s]", Text(sLocationID)));
        return kNone;
    }

    // Only a discovery installs.
    if (eCommand != CMD_DEVICES_DISCOVER)
        return kNone;

    // What the search has just found out is not searched for again, since a discovery may bring thousands of
    // locks.
    const bool bKnown = bSearched && pOwner == this;
    if (!(bKnown ? AddDoorLock(nullptr, sID, sName) : pOwner->AddNewDoorLock(sID, sName))) {
        Report(1278, FormatLine("Failed to Install [%s:%s]", Text(sName), Text(sID)));
        return kNone;
    }
    const int iNewest = NClients() - 1;
    auto* pNewest = bKnown ? dynamic_cast<CPortivo*>(Client(iNewest)) : nullptr;
    if (pNewest && pNewest->DeviceID().Compare(sID) == 0)
        return {pNewest, iNewest, false};
    return SearchDoorLock(sID);
}

void CVestaraInterface::RouteDevice(CVestaraInterface* pOwner, CJSONObject* pEntry, CQXString sID,
                                    CQXString sLocationID, int iClient)
{
    // A copy of its own, because the list goes with its command, while the owner reads the entry later.
    auto pRouted = std::make_unique<CVestaraCommand>(METHOD_READ, CMD_DEVICE_GET, std::move(sLocationID),
                                                     std::move(sID), CQXString(), CQXString());
    pRouted->Response(pEntry->CreateCopy());
    pRouted->ClientIndex(iClient);
    if (!pOwner) {
        // Only this entry is given up: the reply goes on, although the report speaks of aborting.
        pRouted.reset();
        Report(1294, FormatLine("VestaraInterface device NULL - aborting ProcessResponse"));
        return;
    }
    UpdateInterfaceName(pOwner, pOwner->LocationName());
    pOwner->AddResponse(std::move(pRouted));
}

CPortivo* CVestaraInterface::LockOfReply(const CVestaraCommand& Command, const CQXString& sID)
{
    // Where the search of the list found it, if it is still there: clients join behind all others. (Two
    // clients of one id may change places here when one in front of them leaves.)
    CBridgeClient* pClient = Command.ClientIndex() < 0 ? nullptr : Client(Command.ClientIndex());
    if (pClient && pClient->DeviceID().Compare(sID) == 0) {
        if (auto* pLock = dynamic_cast<CPortivo*>(pClient))
            return pLock;
    }
    return FindDoorLock(sID);
}

int CVestaraInterface::ProcessDeviceReply(std::unique_ptr<CVestaraCommand> pCommand)
{
    CJSONObject* pDevice = pCommand->Response();
    CQXString sValue;
    ParseAttribute(pDevice, ATTR_DEVICE_ID, &sValue);
    CPortivo* pLock = LockOfReply(*pCommand, sValue);
    if (!pLock) {
        pCommand.reset();
        return Report(1312, FormatLine("DoorLock device NULL - aborting ProcessResponse"));
    }

    // The lock is told of missing values too, as empty ones: what an absent value means is its own decision.
    ParseAttribute(pDevice, ATTR_DEVICE_NAME, &sValue);
    pLock->DeviceName(sValue);
    pLock->UpdateTraceName();
    for (const Attributes eAttribute : kLockAttributes) {
        ParseAttribute(pDevice, eAttribute, &sValue);
        pLock->ProcessCommand(eAttribute, &sValue);
    }
    return 1;
}
