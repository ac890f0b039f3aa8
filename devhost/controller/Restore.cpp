// Puts a backup in the place of the running system. Taking one is SystemRoutes.cpp's.

#include "devhost/controller/Program.h"
#include "devhost/framework/diagnostics/ExceptionText.h"
#include "devhost/framework/record/Configuration.h"

namespace devhost
{

using nlohmann::json;

// Only the driver can judge its records, and there is one system at a time. So the running one is stopped
// for it, with its last save, and comes back from that when anything is wrong.
json Program::Restore(const ApiCall& call)
{
    for (const auto& [name, value] : call.body.items()) {
        if (name != "configuration" && name != "version" && name != "time")
            throw ApiError(400, "bad_body", "this request takes no \"" + name + "\"");
    }
    const auto given = call.body.find("configuration");
    if (given == call.body.end() || !given->is_string())
        throw ApiError(400, "bad_body", "\"configuration\" must be the text of a backup");
    const auto wanted = given->get<std::string>();
    if (const auto fault = Configuration::FindFault(wanted))
        throw ApiError(400, "bad_backup", "this is no whole backup: " + *fault + "; nothing was changed");
    if (m_api->HeldUser())
        throw ApiError(409, "busy", "access is being given to a user; wait until that has ended");
    if (const std::string error = m_system->Save(); !error.empty())
        throw ApiError(500, "not_saved", error + "; nothing was changed");

    std::string unsaved = m_system->Stop();
    std::string unusable;
    const auto before = Configuration(*m_system).Write(&unsaved);
    DropSystem();
    const auto isGood = [&] { return unsaved.empty() && unusable.empty(); };
    if (isGood())
        unusable = CheckRecords(wanted);
    if (isGood())
        unsaved = FileStore(m_folder.ReplacedFile()).Save(*before);
    if (isGood())
        unsaved = m_store.Save(wanted);
    if (isGood()) {
        unusable = TryStart();
        if (!isGood()) {
            DropSystem();
            m_store.Save(*before);
        }
    }
    if (isGood())
        NoteHost("The configuration was replaced by a backup");
    else
        StartAgain();
    m_server->Publish("snapshot", Text(m_api->Snapshot()));
    const std::string asBefore = "; the configuration is as it was";
    if (!unsaved.empty())
        throw ApiError(500, "not_saved", unsaved + asBefore);
    if (!unusable.empty())
        throw ApiError(400, "bad_backup", "the driver cannot use this backup: " + unusable + asBefore);
    return {{"ok", true}, {"kept_aside", m_folder.ReplacedFile().string()}};
}

// With what was learned and told about it.
void Program::DropSystem()
{
    m_api.reset();
    m_system.reset();
    m_persons.Forget();
    m_houses.Forget();
    m_notedLocks.clear();
    m_shownHealth.clear();
}

// What is wrong with the records of a configuration, in a system that never starts; empty when nothing is.
std::string Program::CheckRecords(const std::string& configuration)
try {
    System::Options parts;
    parts.plugins = {m_library->EntryPoints()};
    parts.workers = false;
    System trial(std::move(parts));
    Configuration reading(trial);
    reading.Read(configuration);
    return reading.FirstFault();
} catch (...) {
    return ExceptionText();
}

std::string Program::TryStart()
try {
    StartSystem();
    return {};
} catch (...) {
    return ExceptionText();
}

// What ran a moment ago. If it does not any more, the process ends, without a save over what is stored.
void Program::StartAgain() noexcept
{
    StartSystem();
}

} // namespace devhost
