// Reads the pages of interfaces and locks out of their messages.

#include "devhost/controller/ExtendedPage.h"

namespace devhost
{

namespace
{

class ItemReader
{
public:
    explicit ItemReader(const std::vector<CQXMSG::Item>& Items) : m_Items(Items) {}

    bool Take(int* pValue)
    {
        const int* pItem = m_Next < m_Items.size() ? std::get_if<int>(&m_Items[m_Next]) : nullptr;
        if (!pItem)
            return false;
        *pValue = *pItem;
        ++m_Next;
        return true;
    }
    bool Take(std::string* pValue)
    {
        const auto* pItem = m_Next < m_Items.size() ? std::get_if<CQXString>(&m_Items[m_Next]) : nullptr;
        if (!pItem)
            return false;
        *pValue = static_cast<char*>(*pItem);
        ++m_Next;
        return true;
    }
    bool AtEnd() const { return m_Next == m_Items.size(); }

private:
    const std::vector<CQXMSG::Item>& m_Items;
    std::size_t m_Next = 0;
};

} // namespace

std::optional<ExtendedPage> ExtendedPage::Read(const CQXMSG& Message)
{
    ItemReader Items(Message.Items());
    ExtendedPage Page;
    int Header = 0;
    int Reserved = 0;
    if (!Items.Take(&Header) || Header != kHeader || !Items.Take(&Reserved) || !Items.Take(&Page.Label) ||
        !Items.Take(&Page.Selected) || !Items.Take(&Page.Count))
        return std::nullopt;
    for (std::string Choice; Items.Take(&Choice);)
        Page.Choices.push_back(Choice);
    if (!Items.Take(&Page.Flags) || !Items.AtEnd())
        return std::nullopt;
    return Page;
}

std::optional<LockPage> LockPage::Read(const CQXMSG& Message)
{
    ItemReader Items(Message.Items());
    LockPage Page;
    int Kinds = 0;
    if (!Items.Take(&Kinds))
        return std::nullopt;
    while (!Items.AtEnd()) {
        Row Next;
        std::string Value;
        int Selected = 0;
        int Entries = 0;
        if (!Items.Take(&Next.Label))
            return std::nullopt;
        if (!Items.Take(&Value)) {
            if (!Items.Take(&Selected) || !Items.Take(&Entries))
                return std::nullopt;
            for (int i = 0; i < Entries; ++i) {
                if (!Items.Take(&Value))
                    return std::nullopt;
            }
            Next.Entries = Entries;
        }
        Page.Rows.push_back(std::move(Next));
    }
    return Page;
}

} // namespace devhost
