// The list of secrets that traces of whole requests and replies hide; hiding them is the framework's work.

#include "cloud/CloudConstants.h"
#include "interface/VestaraInterface.h"

CQXObList* CVestaraInterface::GenObfuscationList()
{
    PurgeObfuscationList();

    // A snapshot on purpose: tokens that come later are not added. The list is made when the record has been
    // read, and whatever drops the account's objects empties it until the next start. Empty tokens are
    // entries too; the framework ignores them.
    for (const CQXString& sSecret :
         {m_sAccessToken, m_sRefreshToken, CQXString(kClientID), CQXString(kClientSecret)})
        m_ObfuscationList.AddTail(std::make_unique<CQXString>(sSecret).release());
    return &m_ObfuscationList;
}

int CVestaraInterface::PurgeObfuscationList()
{
    while (!m_ObfuscationList.IsEmpty())
        delete static_cast<CQXString*>(m_ObfuscationList.RemoveHead());
    return 0;
}
