#pragma once
// The account interface: one link between the controller and one account of the cloud lock service.

#include "access/AccessPersonList.h"
#include "cloud/Attributes.h"
#include "cloud/Command.h"
#include "cloud/MaskList.h"
#include "host/DeviceInterface.h"
#include "host/QXCritical.h"
#include "host/QXList.h"
#include "host/QXTimer.h"
#include "interface/LocationList.h"
#include "interface/SharedText.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

class CLocationPair;
class CPortivo;
class CUser;

// Type id of the account interface, also what a bridge of one reports, and what a lock attaches to.
inline constexpr int kVestaraInterfaceType = 133;

// Source name in the interface's reports and notices; no file name.
inline constexpr char kInterfaceSource[] = "vestarai";

// Created by the host, which owns it and deletes it through the destructor. Two threads meet here: the host's
// (every virtual operation but Run) and the interface's worker (Run and what it calls). A comment says which
// thread calls an operation where it is not the host's.
//
// The members are defined in the folder whose subject they are: cloud/ (queues, requests, send cycle,
// replies), access/ (registry and synchronisation), interface/ (all the rest).
class CVestaraInterface : public CDeviceNetwork,
                          public CQXCritical,
                          public CPropertyUpdateDelegate,
                          public CActionButtonHandler
{
public:
    explicit CVestaraInterface(CDeviceInterfaceDef* pDefinition);
    ~CVestaraInterface() override;

    // The host's virtual operations.

    // The record: the base's, refresh token, access token, location id and name, master flag, redirect
    // schema. 1 when every step succeeded; 0 at the first that failed, with the fields read so far in place.
    int ReadClientData(CQXFile* pFile, int iVersion) override;
    int WriteClientData(CQXFile* pFile, int iVersion) override;
    void IFaceDoPropertyExchange(CPropertySet* pSet, PROPERTYSET_DDX eDdx) override;
    int UnInstall() override; // the host's result of dropping the interface's event registrations
    void Reset() override;
    void Discover() override;
    CQXString GetAuthURL() override;
    void ProcessAuthCode(CQXString sCode) override;
    int CanAccept(int iComponentType) override;
    void OnInterfaceInit() override;
    void OnInterfaceIdle() override;
    void GetExtBridgeConfig(CQXMSG* pMsg) override;
    void SetExtBridgeConfig(CQXMSG* pMsg) override;
    int Run() override; // worker; returns 0 when the bridge shuts down
    CQXString GetResetText() override { return "Reset"; }
    int UpdateProperty(CSystemProperty* pProperty, PROPERTY_UPDATE_CTX eContext, CPropertySet* pSet,
                       int iReserved1, int iReserved2) override;
    int ExecuteAction(int iAction, CPropertySet* pSet) override;
    CQXString GetActionURL(int iAction) override;

    // Commands and queues (cloud/Queues.cpp).

    // Queues a request and adapts the pace; returns the number of items now queued (AdjustTickRate's result).
    // Both threads: the worker queues token refreshes. No limit, no check for duplicates.
    int AddCommand(VestaraMethod eMethod, CommandID eCommand, CQXString sLocationID, CQXString sDeviceID,
                   CQXString sUserID, CQXString sAccessID);
    int NCommands() const { return m_Commands.GetCount(); }

    // The head of the queue, the caller's from then on. Null when empty, also right after a count said
    // otherwise: both threads take from either queue, since both may drop the account's objects.
    std::unique_ptr<CVestaraCommand> NextCommand();
    std::unique_ptr<CVestaraCommand> NextResponse();

    // Takes ownership of the answered command and wakes the host's main loop; returns that call's result.
    // From here on the host thread may delete the command at any moment.
    int AddResponse(std::unique_ptr<CVestaraCommand> pCommand);
    int NResponses() const { return m_Responses.GetCount(); }

    // Paths and keys (cloud/Paths.cpp, cloud/ParseData.cpp).

    // The path template of a command, not filled in, and the JSON key of an attribute. Both empty, and
    // reported, for an unknown value.
    CQXString PathByCommandID(CommandID eCommand);
    CQXString GetAttribute(Attributes eAttribute);

    // Reads one keyed value from the node's subtree. 1 found; 0 not found, which is reported. The text form
    // empties its target first and trims trailing blanks, then line feeds; the number form leaves its target
    // alone when the key is missing.
    int ParseData(CJSONObject* pNode, CQXString sKey, CQXString* pOut);
    int ParseData(CJSONObject* pNode, CQXString sKey, int* pOut);

    // Requests (cloud/Requests.cpp): worker, as steps of the send cycle.

    int AssembleData(CQXString* pBody, CVestaraCommand* pCommand);     // 0: the request must not be sent
    int AssembleHeader(CQXString* pHeader, CVestaraCommand* pCommand); // request line and fixed headers
    void PackData(CQXString* pHeader, CQXString* pBody, CVestaraCommand* pCommand); // completes the request
    int GenerateMessage(CVestaraCommand* pCommand, CQXString* pBody); // JSON body of access-person commands

    // Send cycle and errors (cloud/SendCycle.cpp, cloud/Errors.cpp): worker.

    // Carries one command to the cloud and back. Takes ownership, always. 1 for status 200 or 204.
    int SendCommand(std::unique_ptr<CVestaraCommand> pCommand);

    // End of a command that is given up: traces the most specific error text and disposes of both. Either may
    // be null. Always 1.
    int HandleError(std::unique_ptr<CVestaraCommand> pCommand, std::unique_ptr<CJSONObject> pReply,
                    CQXString sMessage);

    // Masking (cloud/Masking.cpp).

    CQXObList* GenObfuscationList(); // a new snapshot of the four secrets; stays the interface's
    int PurgeObfuscationList();      // 0. Both threads.

    // Replies (cloud/Replies.cpp and one file for each kind, cloud/*Replies.cpp).

    // The one place where a reply takes effect. Takes ownership. 1 processed (also an unhandled id), 0
    // aborted.
    int ProcessResponse(std::unique_ptr<CVestaraCommand> pCommand);

    // Pace and timers: both threads.

    int AdjustTickRate();     // number of queued items; leaves a slow pace alone when there are none
    void InitTimers();        // both polls due in about 2 s; only ever forwards
    void ResetUpdateTimers(); // polls start their waits anew
    void DelayTokenRefresh(); // the token reads as 6600 s old

    // Authorisation.

    void UpdateAuthURL();
    void SetAuthCode(CQXString sCode);
    void ClearAuthCode() { m_sAuthCode.Empty(); }
    int RefreshToken(); // worker, each turn; 1 when it queued a refresh

    // Several accounts (interface/Accounts.cpp, Broadcast.cpp).

    int IsMaster() const { return m_bMaster; }
    int Authorized() const { return m_bAuthorized; }

    // Never null: elects this interface when there is none. Both threads.
    CVestaraInterface* MasterInterface();

    int TokenCheck();                  // 1 when the last sibling asked shared a token
    int TokenShare(CQXString* pToken); // called on a sibling; pToken is a copy of the caller's access token.
                                       // 1: a token moved
    void TokenCleanup();               // both threads: a failed refresh drops the account from the worker
    CVestaraInterface* FindInterface(CQXString sLocationID); // the first that serves the location, or null
    void UpdateInterfaceName(CVestaraInterface* pInterface, CQXString sLocationName);
    int ClientBroadcast(int bAuthorized); // both threads; number of clients, the unchanged state, or 0 where
                                          // a client is missing
    void CleanMasterPointers();           // nobody has a master after this
    int IsOnlyInterface(); // 1: this one is master and there is no other; no caller in the driver

    // Installation (interface/Installation.cpp).

    CPortivo* NextDoorLock(CPortivo* pCurrent); // wraps; null without clients or where a client is no lock
    CPortivo* FindDoorLock(CQXString sDeviceID);
    int AddNewDoorLock(CQXString sDeviceID, CQXString sName); // installs or claims; 1 on success
    void RemoveAllDevices(int bRestart);

    // Both threads: drains the queues and the mask list and drops locations and access persons, which count
    // as empty from then on and are freed by the host thread when it next touches them.
    void RemoveAllObjects();

    // Locations (interface/Locations.cpp).

    CQXString LocationID() const { return m_sLocationID.Get(); }
    CQXString LocationName() const { return m_sLocationName.Get(); }
    void SetLocationIdx(int iIndex);        // zero-based index into the candidate list
    void RemoveAllLocations();              // both threads
    void RemoveThisLocation(CQXString sID); // no caller in the driver

    // Access persons (access/Registry.cpp).

    // Look-ups compare exactly. On an empty registry they bring the polls forward and say so. The person is
    // borrowed until the next look-up, insertion or removal.
    CAccessPerson* AccessPersonByIndex(int iIndex);
    CAccessPerson* AccessPersonByID(CQXString sID);
    CAccessPerson* AccessPersonByName(CQXString sName);
    int AccessPersonExists(int iIndex);
    int AccessPersonExists(CQXString sName);

    // 1: the registry owns the person now, and pPerson is null. 0: refused; the person stays the caller's,
    // unless the worker dropped the registry in this very moment, in which case the person is freed and
    // pPerson is null.
    int InsertAccessPerson(std::unique_ptr<CAccessPerson>& pPerson);
    void ClearIndexes();
    void RefreshIndexes();         // ties persons to the controller's user slots by name
    void RemoveAllAccessPersons(); // both threads

    // Synchronisation of a user slot with the cloud (access/Synchronisation.cpp).
    // A slot is 0 to 29; the device id is that of the lock that asks. A refusal queues nothing.

    int PushUser(int iSlot, CQXString sDeviceID, CUser* pUser); // 1 queued or taken over; borrows pUser
    int PullUser(int iSlot, CQXString sDeviceID);               // 1 queued, or nobody is at the slot
    int GrantAccess(int iSlot, CQXString sDeviceID);            // 1 queued
    int RevokeAccess(int iSlot, CQXString sDeviceID); // 1 queued: the read that leads to the revocation

    // Brings the person to the values of the user at its slot. A person without a slot is tied to the first
    // slot whose user has its name and PIN, if there is one. With a user, an empty id keeps the person's own.
    // Without one the four given values are stored as they are: empty ones clear the fields. The given user
    // is ignored. 1 when a field changed; 0 also for no person, which is reported.
    int UpdateAccessPerson(CAccessPerson* pPerson, CUser* pUser, CQXString sName, CQXString sID,
                           CQXString sPinCode, CQXString sEmail);

private:
    friend class CVestaraInterfaceProbe; // tests look at the fields through it

    // Hands a finished line to the host's report. iNumber is the report's fixed identity, which support staff
    // search for; it is no line of a source file and never changes. Nor do the texts of reports and traces,
    // misspelt ones included: logs are searched for them. Returns 0, so that a refusal is one statement. Both
    // threads.
    //
    // Most traces are for tracing only and ask TraceEnabled() first. Some are written always, and which these
    // are is fixed too: recipes for installers wait for them in logs that were made without tracing.
    int Report(int iNumber, CQXString sText);

    // The account interface at a bridge index, this one included, or null. Host thread.
    CVestaraInterface* Sibling(int iBridge);

    // Every other account interface with the location that it serves, in bridge order. Host thread.
    struct CSibling {
        CVestaraInterface* m_pInterface;
        CQXString m_sLocationID;
    };
    std::vector<CSibling> OtherAccounts();

    void TakeTurn();       // worker: one turn of Run
    void DoHousekeeping(); // deferred notices and removals
    void PollCloud();      // queues the periodic requests that are due

    // Queues a read that names no device, user or access; returns AddCommand's result.
    int QueueRead(CommandID eCommand, CQXString sLocationID);

    void BuildPropertyPage(CPropertySet* pSet);
    CQXString LocationStatus(PROPERTY_UPDATE_CTX eContext);
    void UpdateLocationChoices(CSystemProperty* pProperty, PROPERTY_UPDATE_CTX eContext);
    void PutLocationChoices(CQXMSG* pMsg, const CQXObList& Locations);
    void PutLocationStatus(CQXMSG* pMsg);
    void SelectSingleLocation(const CLocationPair& Location);
    int IndexOfSelectedLocation(const CQXObList& Locations); // the last match, -1 for none

    void TellAuthLost(CPortivo* pLock); // both threads

    // FindDoorLock, and what it saw on its way.
    struct CLockSearch {
        CPortivo* m_pLock;
        int m_iClient;    // the lock's index among the clients, -1 when it was found elsewhere or not at all
        bool m_bReported; // it reported something, as every further search must, so none may be left out
    };
    CLockSearch SearchDoorLock(const CQXString& sDeviceID);

    // AddNewDoorLock with the lock of this id that was found, or null.
    int AddDoorLock(CPortivo* pLock, const CQXString& sDeviceID, const CQXString& sName);
    CPortivo* CreateDoorLock(const CQXString& sDeviceID, const CQXString& sName);
    void ClaimDoorLock(CPortivo* pLock, const CQXString& sDeviceID);
    void AttachClient(CBridgeClient* pClient, const CQXString& sDeviceID);
    void RemoveDoorLock(CPortivo* pLock); // one that hangs on this interface's bridge; any other stays

    // ParseAttribute: ParseData's text form for a known attribute, without a string for the key. ParseText:
    // what the two share (cloud/ParseData.cpp).
    int ParseAttribute(CJSONObject* pNode, Attributes eAttribute, CQXString* pOut);
    int ParseText(CJSONObject* pNode, const char* pKey, CQXString* pOut);

    // Steps of the request assembly (cloud/Requests.cpp): worker. 0: the request must not be sent.
    int AssembleTokenCode(CQXString* pBody);
    int AssembleTokenRefresh(CQXString* pBody);
    int AssembleChange(CQXString* pBody, CVestaraCommand* pCommand);
    int AssembleTarget(CQXString* pHeader, CVestaraCommand* pCommand); // verb and path

    // Steps of the send cycle (cloud/SendCycle.cpp): worker. Results are SendCommand's.
    void TraceRequest(const CQXString& sRequest, const CQXString& sBody);
    std::unique_ptr<CHTMLPage> Exchange(CHTTPConnectionSSL* pConnection, const CQXString& sRequest,
                                        VestaraMethod eMethod); // null: no page
    int GiveUpWithoutPage(std::unique_ptr<CVestaraCommand> pCommand);
    int HandleReply(std::unique_ptr<CVestaraCommand> pCommand, std::unique_ptr<CHTMLPage> pPage);
    int QueueReply(std::unique_ptr<CVestaraCommand> pCommand, std::unique_ptr<CJSONObject> pReply);
    int FinishDeletion(std::unique_ptr<CVestaraCommand> pCommand);
    int DropAuthorization(std::unique_ptr<CVestaraCommand> pCommand, std::unique_ptr<CJSONObject> pReply,
                          CQXString sStatus);

    // Branches of ProcessResponse and their steps: host thread. A branch owns the command; results are
    // ProcessResponse's.
    int ProcessTokenReply(std::unique_ptr<CVestaraCommand> pCommand);
    void OnNewAccessToken(int cbToken); // the length of the token, for the trace
    void TakeRefreshToken(CQXString sRefreshToken);
    int ProcessLocationReply(std::unique_ptr<CVestaraCommand> pCommand);
    void ProcessLocation(CQXString sID, CQXString sName);
    int WalkCandidates(const CQXString& sID); // changes the lists; 1 when the location is a candidate already
    int ProcessDeviceListReply(std::unique_ptr<CVestaraCommand> pCommand);
    void ProcessListedDevice(CJSONObject* pEntry, CommandID eCommand);
    // bSearched: a search of this interface has just found no such lock and nothing to report. The result is
    // that of another search; no lock when it was not installed.
    CLockSearch InstallListedLock(CVestaraInterface* pOwner, CommandID eCommand, const CQXString& sID,
                                  const CQXString& sName, const CQXString& sLocationID, bool bSearched);
    void RouteDevice(CVestaraInterface* pOwner, CJSONObject* pEntry, CQXString sID, CQXString sLocationID,
                     int iClient);
    int ProcessDeviceReply(std::unique_ptr<CVestaraCommand> pCommand);
    CPortivo* LockOfReply(const CVestaraCommand& Command, const CQXString& sID); // or null

    int ProcessPersonReply(std::unique_ptr<CVestaraCommand> pCommand);
    int ProcessPerson(CJSONObject* pEntry, const CVestaraCommand& Command); // 0: the reply is aborted
    CAccessPerson* PersonOfReply(const CVestaraCommand& Command, const CQXString& sEntryID);
    int AddRemotePerson(CQXString sID, CQXString sName, CQXString sPin, CQXString sEmail); // 0: refused
    void GrantEnabledLocks(int iSlot);
    int ProcessAccessReply(std::unique_ptr<CVestaraCommand> pCommand);
    void ProcessAccess(CJSONObject* pEntry, const CVestaraCommand& Command);

    // Steps of the registry (access/Registry.cpp) and of the synchronisation (access/Synchronisation.cpp).
    // Both threads: 1 for an empty registry, which brings the polls forward and says so, as a trace or as a
    // report.
    int AwaitsAccessPersons();
    int ReportsEmptyRegistry();
    // Worker: the look-ups by index and id, as a copy.
    std::optional<CAccessPerson> CopyOfPersonByIndex(int iIndex);
    std::optional<CAccessPerson> CopyOfPersonByID(const CQXString& sID);
    int InsertIndexed(std::unique_ptr<CAccessPerson>& pPerson);
    int InsertUnindexed(std::unique_ptr<CAccessPerson>& pPerson);
    int PushChangedPerson(CAccessPerson* pPerson, CQXString sDeviceID, CUser* pUser);
    int TakeOverPerson(CAccessPerson* pPerson, int iSlot, CUser* pUser);
    CAccessPerson* PersonAtSlot(int iSlot);  // or null
    CUser* SlotUser(CAccessPerson* pPerson); // null for none; ties an untied person to a slot that matches it
    bool DiffersTraced(const char* pField, const CQXString& sOld, const CQXString& sNew);
    void QueueForPerson(VestaraMethod eMethod, CommandID eCommand, CQXString sDeviceID, CQXString sUserID);

    // Who touches what. Two threads share all of it but for what a line says otherwise, so every type here is
    // one that makes the access safe by itself: none needs a lock around it, and none of their own locks is
    // held across a call that may block or call back. Values may be a moment old; docs/architecture.md says
    // what that costs.

    // Borrowed; may be this object itself; null until somebody looks, and again after the master was removed.
    // The worker asks for it only on the master, where it is this object. It stays valid because the host
    // makes no call to an interface between UnInstall and its deletion; an idle call that comes all the same
    // elects nobody.
    std::atomic<CVestaraInterface*> m_pMaster{nullptr};

    // Each owns the commands that it holds.
    CTSObList m_Commands;
    CTSObList m_Responses;

    CLocationList m_Locations; // the worker may only drop it
    // The worker copies persons out of it, and may drop it. An insertion puts indexed ones first, by index,
    // but a tie that changes later moves nobody.
    CAccessPersonList m_AccessPersons;
    CMaskList m_ObfuscationList;

    CQXTimer m_tmrHousekeeping; // host thread
    CQXTimer m_tmrRun;          // worker
    CQXTimer m_tmrStatusPoll;
    CQXTimer m_tmrAccessPoll;
    CQXTimer m_tmrSpare; // started with the others; nothing reads it
    CQXTimer m_tmrToken; // age of the access token

    std::atomic<std::uint32_t> m_iRunDelay{0};  // milliseconds between two turns of Run
    std::atomic<std::int32_t> m_iTokenLifetime; // seconds
    std::atomic<std::int32_t> m_bMaster{0};     // persisted
    std::atomic<std::int32_t> m_bLocationsRequested{0};
    std::atomic<std::int32_t> m_bAuthorized{0}; // what the locks were last told

    // What housekeeping is to do. It clears a flag after it has acted on it, so one that is set in between is
    // lost.
    std::atomic<std::int32_t> m_bRemoveDevices{0};
    std::atomic<std::int32_t> m_bNotifyConfig{0};
    std::atomic<std::int32_t> m_bNotifyInterface{0};
    std::int32_t m_bUnInstalled = 0; // host thread: removed by the host, which deletes it next

    CSharedText m_sAccessToken;
    CSharedText m_sRefreshToken;
    CQXString m_sOAuthState; // host thread
    CSharedText m_sAuthCode;
    CQXString m_sAuthURL; // host thread
    CSharedText m_sLocationID;
    CSharedText m_sLocationName;
    CQXString m_sReserved; // nothing uses it
    std::atomic<OAUTH_REDIRECT_SCHEMA> m_iRedirectSchema{OAUTH_REDIRECT_LOCAL};
};
