// The note in the file that says which version it is: read by `readelf -n` and by crash collectors, without
// loading the library.

#include <cstdint>

#define VESTARA_NOTE "{\"name\":\"LVESTARA\",\"version\":\"" VESTARA_VERSION "\"}"

namespace
{

// A note section holds lengths, type, owner and text, each from a border of four bytes (gABI, "Note
// Section"). Owner, type and the text's keys are those of the UAPI Group's "Package Metadata for Executable
// Files".
struct Note {
    std::uint32_t cbOwner;
    std::uint32_t cbText;
    std::uint32_t uType;
    char Owner[4];
    alignas(4) char Text[sizeof VESTARA_NOTE];
};

// Nothing in the program refers to it.
[[gnu::used, gnu::section(".note.package"), gnu::aligned(4)]] constinit const Note kNote = {
    sizeof kNote.Owner, sizeof VESTARA_NOTE, 0xcafe1a7e, "FDO", VESTARA_NOTE};

} // namespace
