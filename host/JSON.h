#pragma once
// JSON trees and the buffer that they are written to.

#include "host/QXString.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

class CTraceProducer;

// A growable byte buffer; after a JSON write it holds NUL-terminated text.
class CHTTPBuf
{
public:
    explicit CHTTPBuf(int iInitialBytes);
    const char* Data() const { return m_Bytes.c_str(); }
    void Append(const std::string& Bytes) { m_Bytes += Bytes; }

private:
    std::string m_Bytes;
};

enum JSON_WRITE_FORMAT : int {
    JSON_WRITE_COMPACT = 0, // no white space between tokens
};

// One node of a JSON tree; a node owns its children. One thread at a time.
//
// The driver relies on: members keep the order in which they were added or parsed; keys match exactly; a
// search visits the node's whole subtree depth first, in order, and takes the first match.
class CJSONObject
{
public:
    enum KIND : int { KIND_OBJECT = 0, KIND_ARRAY, KIND_STRING, KIND_NUMBER, KIND_BOOLEAN, KIND_NULL };

    explicit CJSONObject(int iKind); // 0: an empty object
    virtual ~CJSONObject();
    CJSONObject(const CJSONObject&) = delete;
    CJSONObject& operator=(const CJSONObject&) = delete;

    // The first node with this key in the subtree, of any kind, or null. It stays owned by the tree.
    // iContext is 1 for a search of the whole subtree.
    CJSONObject* FindNode(const char* pKey, int iContext);

    // The first text, number, true, false or null with this key in the subtree, as text (a number as it was
    // written). Non-zero when found; otherwise *pOut is unchanged. Objects and arrays do not match.
    int FindString(const char* pKey, CQXString* pOut, int iContext);

    // Child i, null out of range; stays owned by the tree. Inline: searches spend their time here.
    CJSONObject* Object(int i)
    {
        if (i < 0 || i >= NObjects())
            return nullptr;
        const int nCopied = m_pChildren->nCopied;
        return i < nCopied ? m_pChildren->pCopied.get() + i
                           : m_pChildren->Added[static_cast<std::size_t>(i - nCopied)].get();
    }
    int NObjects() const
    {
        return m_pChildren ? m_pChildren->nCopied + static_cast<int>(m_pChildren->Added.size()) : 0;
    }

    void AddObjectString(const char* pKey, const char* pValue);
    CJSONObject* AddObjectStruct(const char* pKey); // the new nested object, owned by this node

    // Serialises the subtree to the buffer; every text is escaped as RFC 8259, section 7 asks. iEscape is 1.
    void Write(CHTTPBuf* pBuffer, int iEscape, JSON_WRITE_FORMAT eFormat) const;

    CJSONObject* CreateCopy() const; // a deep copy, owned by the caller

    // The tree as lines of the producer, secrets hidden by the log. Writes only while the producer's switch
    // is on: the driver calls this for every reply, without asking first.
    void Trace(CTraceProducer* pProducer) const;

    // For the parser.
    KIND Kind() const { return m_eKind; }
    std::string_view Key() const { return std::string_view(m_KeyAndText).substr(0, m_cbKey); }
    const char* Text() const { return m_KeyAndText.c_str() + m_cbKey; } // ends at a NUL
    CJSONObject* Append(KIND eKind, std::string_view Key, std::string_view Text);

private:
    // A copy has the children that it was made with in one piece, because a copy is made of every lock in
    // every status reply. Children that are added follow them one by one, so that nodes never move.
    struct Children {
        int nCopied = 0;
        std::unique_ptr<CJSONObject[]> pCopied;
        std::vector<std::unique_ptr<CJSONObject>> Added;
    };

    CJSONObject() : CJSONObject(KIND_OBJECT) {}
    void CopyTo(CJSONObject* pCopy) const;

    // Small, because a house of a thousand locks has many: most nodes fit into the string's own bytes and
    // have no children.
    KIND m_eKind;
    std::uint32_t m_cbKey = 0;
    std::string m_KeyAndText; // one behind the other
    std::unique_ptr<Children> m_pChildren;
};
