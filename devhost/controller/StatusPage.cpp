// Shows the page of a lock and puts answers to it together. Which route does so is ConfiguratorApi.cpp's.

#include "devhost/controller/StatusPage.h"

#include "devhost/controller/Api.h"
#include "devhost/framework/diagnostics/SecretFilter.h"

#include <algorithm>
#include <charconv>
#include <map>

namespace devhost
{

namespace
{

using nlohmann::json;

// The driver's labels of the rows that have a name in the API.
constexpr const char* kSerialLabel = "Serial Number";
constexpr const char* kCodeLabel = "Programming Code";
constexpr const char* kUserCodesLabel = "User Codes";
constexpr const char* kWarningLabel = "Low Battery Warning";

constexpr const char* kYesEntry = "Yes";
constexpr const char* kNoEntry = "No";

std::string Shown(const std::string& secret, bool showSecrets)
{
    return showSecrets || secret.empty() ? secret : std::string(kHiddenSecret);
}

// Puts what came back for a row of a lock's page into the message to its driver.
void PutRowValue(CQXMSG& message, const LockPage::Row& row, const json& item)
{
    const char* kind = row.selected ? "int" : "string";
    const bool shape = item.is_object() && item.size() == 1 && item.contains(kind);
    if (shape && !row.selected && item[kind].is_string())
        return message.PutString(item[kind].get<std::string>().c_str());
    const auto entry = shape && row.selected ? ToInt(item[kind]) : std::nullopt;
    if (!entry)
        throw ApiError(
            400, "bad_body",
            "\"" + row.label + "\" takes " +
                (row.selected ? "the number of an entry: {\"int\":0}" : "a text: {\"string\":\"\"}"));
    const int entryCount = static_cast<int>(row.entries.size());
    if (*entry < 0 || *entry >= entryCount)
        throw ApiError(400, "bad_page",
                       "\"" + row.label + "\" has no entry " + std::to_string(*entry) + ", but 0 to " +
                           std::to_string(entryCount - 1));
    message.PutInt(*entry);
}

// The number of the entry that says so; that of no entry when the row has none.
json YesOrNo(const LockPage::Row& row, bool yes)
{
    return std::ranges::find(row.entries, yes ? kYesEntry : kNoEntry) - row.entries.begin();
}

// What a field stores, by the label of its row, as an item.
std::pair<std::string, json> ItemOf(const LockPage& page, const std::string& name, const json& value)
{
    const bool isCodes = name == "user_codes_enabled";
    if (!isCodes && name != "low_battery_warning")
        throw ApiError(
            400, "bad_body",
            "\"" + name +
                "\" is no field that can be stored; user_codes_enabled and low_battery_warning are");
    const LockPage::Row* row = page.Find(isCodes ? kUserCodesLabel : kWarningLabel);
    if (!row || !row->selected)
        throw ApiError(400, "bad_page", "this lock's page has no " + name);
    if (isCodes && value.is_boolean())
        return {row->label, {{"int", YesOrNo(*row, value.get<bool>())}}};
    if (!isCodes && value.is_object() && value.size() == 1 && value.contains("selected"))
        return {row->label, {{"int", value["selected"]}}};
    throw ApiError(400, "bad_body",
                   "\"" + name + "\" takes " + (isCodes ? "true or false" : "an entry: {\"selected\":0}"));
}

// Rows that are not to change keep what they have, also when that is none of the entries.
void PutFields(CQXMSG& message, const LockPage& page, const json& fields)
{
    std::map<std::string, json> changed;
    for (const auto& [name, value] : fields.items())
        changed.insert(ItemOf(page, name, value));
    for (const LockPage::Row& row : page.rows) {
        if (const auto found = changed.find(row.label); found != changed.end())
            PutRowValue(message, row, found->second);
        else if (row.selected)
            message.PutInt(*row.selected);
        else
            message.PutString("");
    }
}

} // namespace

json MessageJson(const CQXMSG& message, bool showSecrets)
{
    json items = json::array();
    bool secret = false;
    for (const auto& item : message.Items()) {
        if (const int* number = std::get_if<int>(&item)) {
            items.push_back({{"int", *number}});
            continue;
        }
        const std::string value = static_cast<char*>(std::get<CQXString>(item));
        items.push_back({{"string", secret ? Shown(value, showSecrets) : value}});
        secret = value == kCodeLabel;
    }
    return items;
}

json StatusFieldsJson(const CQXMSG& message, bool showSecrets)
{
    const auto page = LockPage::Read(message);
    if (!page)
        return nullptr;
    const auto text = [&](const char* label, bool showText) {
        const LockPage::Row* row = page->Find(label);
        return row && !row->selected ? json(Shown(row->text, showText)) : json(nullptr);
    };
    const auto chooser = [&](const char* label) {
        const LockPage::Row* row = page->Find(label);
        return row && row->selected ? row : nullptr;
    };
    const LockPage::Row* codes = chooser(kUserCodesLabel);
    const LockPage::Row* warning = chooser(kWarningLabel);
    return {
        {"serial_number", text(kSerialLabel, true)},
        {"programming_code", text(kCodeLabel, showSecrets)},
        {"user_codes_enabled", codes ? json(YesOrNo(*codes, true) == *codes->selected) : json(nullptr)},
        {"low_battery_warning",
         warning ? json{{"selected", *warning->selected}, {"entries", warning->entries}} : json(nullptr)}};
}

std::optional<int> WarningPercent(const LockPage& page)
{
    const LockPage::Row* row = page.Find(kWarningLabel);
    const int selected = row ? row->selected.value_or(-1) : -1;
    if (selected < 0 || selected >= static_cast<int>(row->entries.size()))
        return std::nullopt;
    const std::string& entry = row->entries[static_cast<std::size_t>(selected)];
    int percent = 0;
    const auto [end, error] = std::from_chars(entry.data(), entry.data() + entry.size(), percent);
    return error == std::errc() ? std::optional(percent) : std::nullopt;
}

CQXMSG StatusAnswer(const LockPage& page, const json& body)
{
    CQXMSG message;
    const auto items = body.find("items");
    const auto fields = body.find("fields");
    if (fields != body.end() && fields->is_object() && items == body.end()) {
        PutFields(message, page, *fields);
        return message;
    }
    if (fields != body.end() || items == body.end() || !items->is_array() ||
        items->size() != page.rows.size())
        throw ApiError(
            400, "bad_body",
            "either \"fields\", an object of what is to change, or \"items\", one value for each of "
            "the page's " +
                std::to_string(page.rows.size()) + " rows, is needed");
    for (std::size_t i = 0; i < items->size(); ++i)
        PutRowValue(message, page.rows[i], (*items)[i]);
    return message;
}

} // namespace devhost
