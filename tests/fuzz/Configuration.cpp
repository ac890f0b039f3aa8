// Configurations: lines of a record's kind and its items, which are put into sound lines; and the bytes as
// they are. What loads is saved, and what was saved loads as the same.

#include "devhost/framework/record/Configuration.h"
#include "devhost/framework/record/MemoryFile.h"
#include "tests/fuzz/Host.h"

using fuzz::Require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string_view rest = fuzz::Text(data, size);
    devhost::Configuration::FindFault(rest);
    std::string text;
    while (!rest.empty()) {
        std::string_view line = fuzz::TakeUntil(rest, '\n');
        devhost::MemoryFile record;
        const std::string kind(fuzz::TakeUntil(line, '\t'));
        fuzz::ForEachItem(line, [&record](char type, const std::string& value) {
            if (type == 'i')
                record.WriteInt(std::atoi(value.c_str()));
            else
                record.WriteString(value.c_str());
        });
        text += devhost::RecordLine{kind, record.Bytes()}.Format() + "\n";
    }
    fuzz::Host host;
    host.Restart(text);
    // An account whose record cannot be read gets a name of its own with the next start.
    host.Reload();
    const std::string second = host.Reload();
    Require(!devhost::Configuration::FindFault(second), "no fault is found in what was saved");
    Require(host.Reload() == second, "another round changes nothing");
    return 0;
}
