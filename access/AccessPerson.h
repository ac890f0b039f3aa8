#pragma once
// One access person of the cloud, tied to a controller user slot or not.

#include "host/QXString.h"

#include <cstdint>

// Owned by the registry of its interface. The three flags follow the fields; only this class writes them.
class CAccessPerson
{
public:
    // iIndex: controller user slot from 0, or -1 for none. An empty id means that the cloud has not named the
    // person yet; the e-mail may be empty.
    CAccessPerson(int iIndex, CQXString sID, CQXString sPinCode, CQXString sName, CQXString sEmail);

    int Index() const { return m_iIndex; }
    void Index(int iIndex);
    void UnIndex() { Index(-1); }
    CQXString ID() const { return m_sID; }
    void ID(CQXString sID);
    CQXString PinCode() const { return m_sPinCode; }
    void PinCode(CQXString sPinCode) { m_sPinCode = std::move(sPinCode); }
    CQXString Name() const { return m_sName; }
    void Name(CQXString sName) { m_sName = std::move(sName); }
    CQXString Email() const { return m_sEmail; }
    void Email(CQXString sEmail);

    int Indexed() const { return m_bIndexed; }
    int NeedsID() const { return m_bNeedsID; }
    int HasEmail() const { return m_bHasEmail; }

private:
    std::int32_t m_iIndex;
    CQXString m_sID;
    CQXString m_sPinCode;
    CQXString m_sName;
    CQXString m_sEmail;
    std::uint8_t m_bIndexed;
    std::uint8_t m_bNeedsID;
    std::uint8_t m_bHasEmail;
};
