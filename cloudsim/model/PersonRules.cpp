// Holds the rules for a person's fields, which requests and fixtures share; replies are left to the REST API.
#include "cloudsim/model/PersonRules.h"

#include <algorithm>

namespace cloudsim
{

std::string ReadName(ObjectReader& reader)
{
    std::string name = reader.Text("name");
    if (name.empty() || name.size() > 200)
        throw FieldError("bad_value", reader.Path("name"), "must have 1 to 200 bytes");
    return name;
}

PersonFields ReadPersonFields(ObjectReader& reader, bool withEmail)
{
    PersonFields fields{ReadName(reader), {}, {}};
    if (withEmail)
        fields.email = reader.OptionalText("email");
    if (fields.email && (fields.email->find('@') == std::string::npos || fields.email->size() > 254))
        throw FieldError("bad_value", reader.Path("email"), "must be an e-mail address");
    fields.pin = reader.Text("pin");
    const bool digitsOnly = std::ranges::all_of(fields.pin, [](char c) { return c >= '0' && c <= '9'; });
    if (!digitsOnly || fields.pin.size() < 4 || fields.pin.size() > 16)
        throw FieldError("bad_value", reader.Path("pin"), "must be a text of 4 to 16 digits");
    return fields;
}

bool IsPinTaken(const World& world, const std::string& pin, const std::string& exceptPersonId)
{
    return std::ranges::any_of(world.persons, [&](const AccessPerson& person) {
        return person.pin == pin && person.id != exceptPersonId;
    });
}

} // namespace cloudsim
