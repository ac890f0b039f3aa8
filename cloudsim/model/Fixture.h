#pragma once

#include "cloudsim/model/World.h"

#include <stdexcept>
#include <string>
#include <string_view>

namespace cloudsim
{

// A fixture that cannot be used; what() names the field.
class FixtureError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// Reads a world from JSON text. A lock without "connected_at" was heard of just now.
// Throws FixtureError for text that is no JSON or nested too deep, for unknown, missing, ill-typed and
// out-of-range fields, ids that occur twice and references to ids that do not exist.
World LoadWorld(std::string_view text, TimePoint now);

// Writes a world so that LoadWorld gives the same one, to the second. The text holds PINs, codes and tokens.
std::string SaveWorld(const World& world);

} // namespace cloudsim
