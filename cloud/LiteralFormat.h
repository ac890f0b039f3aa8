#pragma once
// Formats a text from outside that may hold percent signs.

#include "host/QXString.h"

// The text as a format without arguments comes out: "%%" becomes "%". Any other conversion has no argument to
// show and stays as it stands, so the result never depends on what lies in memory.
CQXString LiteralFormat(const CQXString& sFormat);
