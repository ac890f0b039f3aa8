// Adds files to the admin route that saves the world, since the model itself opens none.
#include "cloudsim/server/AdminSave.h"

#include "cloudsim/model/Fixture.h"
#include "cloudsim/model/Replies.h"
#include "cloudsim/model/RequestChecks.h"
#include "cloudsim/server/StateFolder.h"

namespace cloudsim
{
namespace
{

// Every program of this machine can ask here, so that no file outside the state folder may be written, nor
// the certificates and keys in it.
bool IsPlainName(const std::string& name)
{
    return !name.empty() && name != "." && name != ".." && !name.ends_with(".pem") &&
           name.find_first_of(std::string_view("/\0", 2)) == std::string::npos;
}

std::optional<std::string> ReadPath(const Request& request)
{
    if (request.body.empty())
        return std::nullopt;
    try {
        const Json body = ParseJsonBody(request);
        ObjectReader reader(body, "");
        std::optional<std::string> path;
        if (reader.Has("path"))
            path = reader.Text("path");
        reader.Finish();
        if (path && !IsPlainName(*path))
            throw FieldError("bad_value", "path", "must be a plain file name, and none that ends with .pem");
        return path;
    } catch (const FieldError& error) {
        throw RefuseField(error);
    }
}

} // namespace

Response HandleAdminWithFiles(Cloud& cloud, const Request& request, const std::filesystem::path& folder,
                              TimePoint now)
try {
    if (request.method != "POST" || request.Path() != kSavePath)
        return cloud.HandleAdmin(request, now);
    const auto path = ReadPath(request);
    // The model checks who asks before anything is written.
    Request plain = request;
    if (path)
        plain.body = "{}";
    Response response = cloud.HandleAdmin(plain, now);
    if (!path || response.status != 200)
        return response;
    const std::filesystem::path file = folder / *path;
    try {
        WritePrivateFile(file, SaveWorld(cloud.CurrentWorld()));
    } catch (const std::runtime_error& error) {
        throw Refusal(422, "cannot_save", error.what());
    }
    return JsonReply(200, Json{{"saved", file.string()}});
} catch (const Refusal& refusal) {
    return ErrorReply(refusal);
}

} // namespace cloudsim
