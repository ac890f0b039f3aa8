#pragma once
// One access person of the cloud, tied to a controller user slot or not.

#include "cloud/WantedText.h"
#include "host/QXString.h"

#include <cstddef>
#include <cstdint>
#include <mutex>

// Three flags and two hashes follow the fields; only this class writes them. The host thread's. A person in a
// registry is read by the worker as well, which copies it under the registry's lock: the registry gives that
// lock to its persons, and each change of a field is made under it.
class CAccessPerson
{
public:
    // iIndex: controller user slot from 0, or -1 for none. An empty id means that the cloud has not named the
    // person yet; the e-mail may be empty.
    CAccessPerson(int iIndex, CQXString sID, CQXString sPinCode, CQXString sName, CQXString sEmail);

    // The copy belongs to no registry.
    CAccessPerson(const CAccessPerson& Other);
    CAccessPerson& operator=(const CAccessPerson&) = delete;

    int Index() const { return m_iIndex; }
    void Index(int iIndex);
    void UnIndex() { Index(-1); }
    const CQXString& ID() const { return m_sID; }
    void ID(CQXString sID);
    const CQXString& PinCode() const { return m_sPinCode; }
    void PinCode(CQXString sPinCode);
    const CQXString& Name() const { return m_sName; }
    void Name(CQXString sName);
    const CQXString& Email() const { return m_sEmail; }
    void Email(CQXString sEmail);

    int Indexed() const { return m_bIndexed; }
    int NeedsID() const { return m_bNeedsID; }
    int HasEmail() const { return m_bHasEmail; }

    bool IsAt(int iIndex) const { return m_bIndexed && m_iIndex == iIndex; }
    bool HasID(const CWantedText& Wanted) const { return !m_bNeedsID && Wanted.Is(m_sID, m_uIDHash); }
    bool HasName(const CWantedText& Wanted) const { return Wanted.Is(m_sName, m_uNameHash); }

private:
    friend class CAccessPersonList; // gives the lock

    std::unique_lock<std::mutex> Changing() const;

    // What searches compare stands together.
    std::int32_t m_iIndex;
    std::uint8_t m_bIndexed;
    std::uint8_t m_bNeedsID;
    std::uint8_t m_bHasEmail;
    std::size_t m_uIDHash;
    std::size_t m_uNameHash;
    std::mutex* m_pLock = nullptr; // the registry's; null outside of one
    CQXString m_sID;
    CQXString m_sPinCode;
    CQXString m_sName;
    CQXString m_sEmail;
};
