#pragma once
// The cloud API's vocabulary: resource paths by command and JSON keys by attribute.

#include "cloud/Attributes.h"
#include "cloud/Command.h"

// The resource path of a command, filled in from the command's ids as they are, without encoding. Empty for a
// value that is no command.
CQXString FilledPath(const CVestaraCommand& Command);

// The JSON key of an attribute. Null for a value that is no attribute.
const char* AttributeKey(Attributes eAttribute);
