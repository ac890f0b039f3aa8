// The list of secrets that traces of whole requests and replies hide; hiding them is the framework's work.

#include "cloud/CloudConstants.h"
#include "cloud/MaskList.h"
#include "interface/VestaraInterface.h"

#include <memory>
#include <utility>
#include <vector>

void CMaskList::Fill(std::initializer_list<CQXString> Secrets)
{
    const std::lock_guard Lock(m_Mutex);
    Free();
    for (const CQXString& sSecret : Secrets) {
        auto pSecret = std::make_unique<CQXString>(sSecret);
        m_List.AddTail(pSecret.get());
        static_cast<void>(pSecret.release());
    }
}

void CMaskList::Purge()
{
    const std::lock_guard Lock(m_Mutex);
    Free();
}

void CMaskList::Free()
{
    while (void* pSecret = m_List.RemoveHead())
        delete static_cast<CQXString*>(pSecret);
}

CQXString CMaskList::Masked(CQXString sText) const
{
    std::vector<CQXString> Secrets;
    {
        const std::lock_guard Lock(m_Mutex);
        for (CQXPos* pPos = m_List.GetHeadPosition(); pPos;)
            Secrets.push_back(*static_cast<const CQXString*>(m_List.GetNext(pPos)));
    }
    CQXObList List;
    for (CQXString& sSecret : Secrets)
        List.AddTail(&sSecret);
    return CQXString::Obfuscate(&sText, &List);
}

CQXObList* CVestaraInterface::GenObfuscationList()
{
    // A snapshot on purpose: tokens that come later are not added. The list is made when the record has been
    // read, and whatever drops the account's objects empties it until the next start. Empty tokens are
    // entries too; the framework ignores them.
    m_ObfuscationList.Fill(
        {m_sAccessToken.Get(), m_sRefreshToken.Get(), CQXString(kClientID), CQXString(kClientSecret)});
    return m_ObfuscationList.Entries();
}

int CVestaraInterface::PurgeObfuscationList()
{
    m_ObfuscationList.Purge();
    return 0;
}
