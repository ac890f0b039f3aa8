#pragma once

#include "cloudsim/model/Cloud.h"

#include <filesystem>

namespace cloudsim
{

// Answers an admin request like Cloud::HandleAdmin, except that POST /admin/save with a "path" writes the
// world to the file of that plain name (no .pem) in the folder (mode 0600) and answers {"saved": path}.
// Without a path the reply is the world itself.
Response HandleAdminWithFiles(Cloud& cloud, const Request& request, const std::filesystem::path& folder,
                              TimePoint now);

} // namespace cloudsim
