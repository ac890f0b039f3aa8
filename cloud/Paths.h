#pragma once
// The cloud API's vocabulary: resource paths by command and JSON keys by attribute.

#include "cloud/Attributes.h"
#include "cloud/Command.h"

// The path template of a command; each %s in it stands for one id. Null for a value that is no command.
const char* PathTemplate(CommandID eCommand);

// The JSON key of an attribute. Null for a value that is no attribute.
const char* AttributeKey(Attributes eAttribute);
