#pragma once
// What a plug-in library contributes: definitions, owned by the host list they were appended to.

#include "host/QXString.h"

#include <utility>

class CStringBlock; // texts of the host's own components; handed through untouched

class CDeviceInterfaceDef
{
public:
    CDeviceInterfaceDef(int iType, CQXString sName, int iReserved, int iFlags)
        : m_iType(iType), m_iReserved(iReserved), m_iFlags(iFlags), m_sName(std::move(sName))
    {
    }
    virtual ~CDeviceInterfaceDef() = default;
    int Type() const { return m_iType; }
    int Reserved() const { return m_iReserved; }
    int Flags() const { return m_iFlags; }
    const CQXString& Name() const { return m_sName; }

private:
    int m_iType;
    int m_iReserved;
    int m_iFlags;
    CQXString m_sName;
};

class CSystemComponentDef
{
public:
    CSystemComponentDef(CStringBlock* pBlock, int iType, CQXString sName, CQXString sSecondName, int iFlags,
                        int iReserved)
        : m_pBlock(pBlock), m_iType(iType), m_iFlags(iFlags), m_iReserved(iReserved),
          m_sName(std::move(sName)), m_sSecondName(std::move(sSecondName))
    {
    }
    virtual ~CSystemComponentDef() = default;
    int Type() const { return m_iType; }
    int Flags() const { return m_iFlags; }
    int Reserved() const { return m_iReserved; }
    const CQXString& Name() const { return m_sName; }
    const CQXString& SecondName() const { return m_sSecondName; }
    CStringBlock* Block() const { return m_pBlock; }

private:
    CStringBlock* m_pBlock;
    int m_iType;
    int m_iFlags;
    int m_iReserved;
    CQXString m_sName;
    CQXString m_sSecondName;
};
