#pragma once

#include "cloudsim/model/Json.h"
#include "cloudsim/model/World.h"

namespace cloudsim
{

// What a request or a fixture says about a person.
struct PersonFields {
    std::string name;
    std::string pin;
    std::optional<std::string> email;
};

// Reads a name. Throws FieldError for one that is empty or longer than 200 bytes.
std::string ReadName(ObjectReader& reader);

// Reads "name" and "pin" and, when withEmail is set, an optional "email". Throws FieldError for a name that
// is empty or longer than 200 bytes, a PIN that is not 4 to 16 digits, and an e-mail without an "@".
PersonFields ReadPersonFields(ObjectReader& reader, bool withEmail);

// True when a person other than the given one has the PIN.
bool IsPinTaken(const World& world, const std::string& pin, const std::string& exceptPersonId);

} // namespace cloudsim
