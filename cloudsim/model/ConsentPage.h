#pragma once

#include "cloudsim/model/World.h"

#include <string>
#include <string_view>

namespace cloudsim
{

// The page on which the account's owner allows or denies the controller's access. The form is posted to
// target, the page's own address; formToken is its one-time token. All texts are escaped here.
std::string ConsentPageHtml(const World& world, std::string_view target, std::string_view formToken);

// A page that says why a request cannot be carried out; escapes the reason.
std::string ErrorPageHtml(std::string_view reason);

} // namespace cloudsim
