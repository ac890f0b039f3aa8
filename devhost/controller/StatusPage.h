#pragma once
// The page of a lock as JSON: what a reply shows of it, and what a request stores into it.

#include "devhost/controller/ExtendedPage.h"

#include <nlohmann/json.hpp>

#include <optional>

namespace devhost
{

/// The typed items of a lock's page, [{"string":"..."},{"int":0}, ...].
/// @param showSecrets false: the text after "Programming Code" is hidden.
nlohmann::json MessageJson(const CQXMSG& message, bool showSecrets);

/// The rows that are known by their labels, as members; null in the place of one that the page does not have,
/// and of all when the message is no page.
nlohmann::json StatusFieldsJson(const CQXMSG& message, bool showSecrets);

/// The charge in percent below which a lock warns, as its page has it, "30%"; nothing when it has none.
std::optional<int> WarningPercent(const LockPage& page);

/// Puts one value for each row of a page together. A driver reads without looking, so nothing is missing, of
/// another kind or outside a list.
/// @param body of the request: "items", a value for each row, or "fields", those that are to change.
/// @throws ApiError 400 that says what is wrong.
CQXMSG StatusAnswer(const LockPage& page, const nlohmann::json& body);

} // namespace devhost
