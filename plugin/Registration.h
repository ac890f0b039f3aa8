#pragma once
// Adds the driver's types to the host's definition lists.

#include "host/Definitions.h"
#include "host/QXList.h"

// Both create a definition from their arguments, append it to the list, which owns it from then on, and
// return what the append returned. Repeated calls append again. Host thread.
CQXPos* RegisterInterface(CQXObList* pList, int iType, CQXString sName, int iReserved, int iFlags);
CQXPos* RegisterComponent(CStringBlock* pBlock, CQXObList* pList, int iType, CQXString sName,
                          CQXString sSecondName, int iFlags);
