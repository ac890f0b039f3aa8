#pragma once
// Definitions; neither kind has a virtual member.

#include "host/QXString.h"

class CStringBlock;

class CDeviceInterfaceDef
{
public:
    CDeviceInterfaceDef(int type, CQXString name, int reserved, int flags);
    ~CDeviceInterfaceDef();
    int Type() const;

    CQXString name; // the host's own
    int type;
    int flags;
};

class CSystemComponentDef
{
public:
    CSystemComponentDef(CStringBlock* block, int type, CQXString name, CQXString secondName, int flags,
                        int reserved);
    ~CSystemComponentDef();
    int Type() const;

    int flags; // the host's own
    CQXString name;
    int type;
};
