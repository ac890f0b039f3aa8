// JSON texts: what is read is written and read again as the same, and the look-ups find what a plain search
// does.

#include "devhost/framework/values/JsonParser.h"
#include "host/JSON.h"
#include "tests/fuzz/Fuzz.h"

#include <set>

using fuzz::Require;

static bool Same(CJSONObject& first, CJSONObject& second)
{
    if (first.Kind() != second.Kind() || first.Key() != second.Key() ||
        std::string_view(first.Text()) != second.Text() || first.NObjects() != second.NObjects())
        return false;
    for (int i = 0; i < first.NObjects(); ++i) {
        if (!Same(*first.Object(i), *second.Object(i)))
            return false;
    }
    return true;
}

// The first node with the key below this one, depth first; of texts and the like only, or any.
static CJSONObject* Find(CJSONObject& node, const std::string& key, bool plain)
{
    for (int i = 0; i < node.NObjects(); ++i) {
        CJSONObject& child = *node.Object(i);
        const bool deep = child.Kind() == CJSONObject::KIND_OBJECT || child.Kind() == CJSONObject::KIND_ARRAY;
        if (child.Key() == key && node.Kind() == CJSONObject::KIND_OBJECT && !(plain && deep))
            return &child;
        if (CJSONObject* found = Find(child, key, plain))
            return found;
    }
    return nullptr;
}

static void CollectKeys(CJSONObject& node, std::set<std::string>& keys)
{
    for (int i = 0; i < node.NObjects() && keys.size() < 20; ++i) {
        keys.emplace(node.Object(i)->Key());
        CollectKeys(*node.Object(i), keys);
    }
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto tree = devhost::ParseJson(fuzz::Text(data, size));
    if (!tree)
        return 0;
    CHTTPBuf buffer(0);
    tree->Write(&buffer, 1, JSON_WRITE_COMPACT);
    const auto again = devhost::ParseJson(buffer.Data());
    Require(again && Same(*tree, *again), "what was written is read as the same");
    const std::unique_ptr<CJSONObject> copy(tree->CreateCopy());
    Require(Same(*tree, *copy), "a copy is the same");

    std::set<std::string> keys{"data", "type", "none"};
    CollectKeys(*tree, keys);
    for (const std::string& key : keys) {
        if (key.find('\0') != std::string::npos)
            continue;
        Require(tree->FindNode(key.c_str(), 1) == Find(*tree, key, false), "nodes are found");
        CQXString text = "unchanged";
        CJSONObject* wanted = Find(*tree, key, true);
        const int found = tree->FindString(key.c_str(), &text, 1);
        Require((found != 0) == (wanted != nullptr), "texts are found");
        Require(!found || std::string_view(static_cast<char*>(text)) == wanted->Text(),
                "they are the right ones");
        Require(found || text.Compare("unchanged") == 0, "nothing is touched when there is none");
    }
    return 0;
}
