#pragma once

#include "cloudsim/model/Http.h"
#include "cloudsim/model/Json.h"

#include <string>
#include <string_view>

// The checks that every request of the driver must pass. Each throws Refusal with a text that names what is
// wrong.
namespace cloudsim
{

inline constexpr std::string_view kJsonMediaType = "application/json";
inline constexpr std::string_view kRestMediaType = "application/vnd.vestara.v1+json";

// The value of a header that must be there exactly once. status and code are those of the refusal.
std::string_view RequireHeader(const Request& request, std::string_view name, int status,
                               const std::string& code);

// 405 with the allowed methods in the text unless the method is one of them ("GET, PUT").
void RequireMethod(const Request& request, std::string_view allowed);

// 505 unless the request is HTTP/1.1, 400 when its target has a query.
void RequirePlainTarget(const Request& request);

// 421 unless the Host header is exactly the given name.
void RequireHost(const Request& request, std::string_view host);

// 406 unless the Accept header is exactly the given type.
void RequireAccept(const Request& request, std::string_view mediaType);

// For requests without a body: no Content-Length, no Content-Type and no byte behind the header.
void RequireNoBody(const Request& request);

// For requests that carry a body, also an empty one: Content-Length (411), the content type (415), and behind
// the body nothing or exactly one CR LF, which the driver sends without counting it.
void RequireBody(const Request& request, std::string_view contentType);

// Parses the body as JSON; 400 when it is none or nested too deep (ParseJson).
Json ParseJsonBody(const Request& request);

// The refusal for a field of a JSON body: 422 with the field error's code.
Refusal RefuseField(const FieldError& error);

} // namespace cloudsim
