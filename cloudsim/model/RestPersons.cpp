// Serves access persons and their accesses; routing and the shared checks are left to RestApi.cpp.
#include "cloudsim/model/PersonRules.h"
#include "cloudsim/model/Replies.h"
#include "cloudsim/model/RequestChecks.h"
#include "cloudsim/model/RestApi.h"
#include "cloudsim/model/RestObjects.h"

#include <algorithm>
#include <iterator>

namespace cloudsim
{
namespace
{

constexpr std::size_t kIdBytes = 8;

PersonFields ReadPerson(const Request& request, bool isNew)
{
    const Json body = ParseJsonBody(request);
    try {
        ObjectReader document(body, "");
        if (isNew && document.Text("type") != kPersonType)
            throw FieldError("bad_value", "type", "must be \"" + std::string(kPersonType) + "\"");
        ObjectReader attributes = document.Object("attributes");
        PersonFields fields = ReadPersonFields(attributes, isNew);
        attributes.Finish();
        document.Finish();
        return fields;
    } catch (const FieldError& error) {
        throw RefuseField(error);
    }
}

std::string ReadGrantedLock(const Request& request)
{
    const Json body = ParseJsonBody(request);
    try {
        ObjectReader document(body, "");
        ObjectReader attributes = document.Object("attributes");
        std::string lockId = attributes.Text("accessible_id");
        if (attributes.Text("accessible_type") != kLockType)
            throw FieldError("bad_value", attributes.Path("accessible_type"),
                             "must be \"" + std::string(kLockType) + "\"");
        attributes.Finish();
        document.Finish();
        return lockId;
    } catch (const FieldError& error) {
        throw RefuseField(error);
    }
}

Refusal PinTaken()
{
    return {422, "pin_taken", "attributes.pin is already in use by another person"};
}

Response SingleReply(Json object)
{
    return JsonReply(200, Json{{"data", std::move(object)}});
}

} // namespace

AccessPerson& RestApi::RequirePerson(const std::string& id)
{
    if (AccessPerson* person = FindById(m_world.persons, id))
        return *person;
    throw Refusal(404, "unknown_access_person", "there is no access person of that id");
}

Response RestApi::ListPersons(const Request&, const Arguments&)
{
    return JsonReply(200, ListObject(m_world.persons, PersonObject));
}

Response RestApi::CreatePerson(const Request& request, const Arguments&)
{
    PersonFields fields = ReadPerson(request, true);
    if (IsPinTaken(m_world, fields.pin, ""))
        throw PinTaken();
    m_world.persons.push_back(
        {m_random(kIdBytes), std::move(fields.name), std::move(fields.pin), std::move(fields.email)});
    return SingleReply(PersonObject(m_world.persons.back()));
}

Response RestApi::UpdatePerson(const Request& request, const Arguments& ids)
{
    AccessPerson& person = RequirePerson(ids[0]);
    PersonFields fields = ReadPerson(request, false);
    if (IsPinTaken(m_world, fields.pin, person.id))
        throw PinTaken();
    person.name = std::move(fields.name);
    person.pin = std::move(fields.pin);
    return SingleReply(PersonObject(person));
}

Response RestApi::DeletePerson(const Request&, const Arguments& ids)
{
    RequirePerson(ids[0]);
    std::erase_if(m_world.accesses, [&](const Access& access) { return access.personId == ids[0]; });
    std::erase_if(m_world.persons, [&](const AccessPerson& person) { return person.id == ids[0]; });
    return NoContentReply();
}

Response RestApi::ListAccesses(const Request&, const Arguments& ids)
{
    RequirePerson(ids[0]);
    std::vector<Access> accesses;
    std::ranges::copy_if(m_world.accesses, std::back_inserter(accesses),
                         [&](const Access& access) { return access.personId == ids[0]; });
    return JsonReply(200, ListObject(accesses, AccessObject));
}

Response RestApi::GrantAccess(const Request& request, const Arguments& ids)
{
    RequirePerson(ids[0]);
    const std::string lockId = ReadGrantedLock(request);
    RequireLock(lockId);
    const bool exists = std::ranges::any_of(m_world.accesses, [&](const Access& access) {
        return access.personId == ids[0] && access.lockId == lockId;
    });
    if (exists)
        throw Refusal(409, "duplicate_access", "the person already has access to that device");
    m_world.accesses.push_back({m_random(kIdBytes), ids[0], lockId});
    return SingleReply(AccessObject(m_world.accesses.back()));
}

Response RestApi::RevokeAccess(const Request&, const Arguments& ids)
{
    RequirePerson(ids[0]);
    const auto erased = std::erase_if(m_world.accesses, [&](const Access& access) {
        return access.personId == ids[0] && access.id == ids[1];
    });
    if (erased == 0)
        throw Refusal(404, "unknown_access", "the person has no access of that id");
    return NoContentReply();
}

Response RestApi::NotifyPerson(const Request& request, const Arguments& ids)
{
    if (!request.body.empty())
        throw Refusal(400, "unexpected_body", "a notify request must have an empty body");
    if (!RequirePerson(ids[0]).email)
        throw Refusal(422, "missing_email", "the person has no e-mail address");
    return NoContentReply();
}

} // namespace cloudsim
