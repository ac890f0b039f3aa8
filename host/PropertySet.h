#pragma once
// Property pages: ordered properties and action buttons that the host shows and hands back. Host thread.

#include "host/QXString.h"

#include <memory>
#include <utility>
#include <vector>

class CPropertySet;
class CSystemProperty;

// What a property exchange is for.
enum PROPERTYSET_DDX : int {
    PROPERTYSET_DDX_BUILD = 0, // fill the page
    PROPERTYSET_DDX_STORE = 1, // take the edited values
    PROPERTYSET_DDX_MARK = 2,  // set attributes before the page is shown
};

// Why a property is updated.
enum PROPERTY_UPDATE_CTX : int {
    PROPERTY_UPDATE_BUILD = 0,   // the page is being built
    PROPERTY_UPDATE_REFRESH = 1, // an open page is refreshed
};

// Fills properties on demand. Borrowed by the properties that name it; it outlives the page.
class CPropertyUpdateDelegate
{
public:
    virtual ~CPropertyUpdateDelegate() = default;
    // Non-zero when the property is one of the delegate's.
    virtual int UpdateProperty(CSystemProperty* pProperty, PROPERTY_UPDATE_CTX eContext, CPropertySet* pSet,
                               int iReserved1, int iReserved2) = 0;
};

// Serves action buttons: a button with an address opens the browser, any other is executed.
class CActionButtonHandler
{
public:
    virtual ~CActionButtonHandler() = default;
    virtual int ExecuteAction(int iAction,
                              CPropertySet* pSet) = 0; // non-zero when it was one of the handler's
    virtual CQXString GetActionURL(int iAction) = 0;   // empty: no address
};

class CSystemProperty
{
public:
    enum KIND : int { KIND_TEXT, KIND_MULTI };
    struct Choice {
        CQXString sName;
        int iIndex;
    };

    CSystemProperty(KIND eKind, CQXString sLabel, int iID, int iFlags);

    int ID() const { return m_iID; }
    KIND Kind() const { return m_eKind; }
    const CQXString& Label() const { return m_sLabel; }
    int Flags() const { return m_iFlags; }

    const CQXString& Value() const { return m_sValue; }
    void Value(CQXString sValue) { m_sValue = std::move(sValue); }

    void AddChoice(CQXString sName, int iIndex);
    void ClearChoices() { m_Choices.clear(); }
    const std::vector<Choice>& Choices() const { return m_Choices; }
    int SelectedIndex() const { return m_iSelected; } // -1: none
    void SelectChoice(int iIndex) { m_iSelected = iIndex; }

    int AttribBits() const { return m_iAttribBits; }
    void SetAttribBits(int iBits) { m_iAttribBits |= iBits; }

    CPropertyUpdateDelegate* UpdateDelegate() const { return m_pDelegate; }
    void UpdateDelegate(CPropertyUpdateDelegate* pDelegate) { m_pDelegate = pDelegate; }

private:
    KIND m_eKind;
    int m_iID;
    int m_iFlags;
    int m_iAttribBits = 0;
    int m_iSelected = -1;
    CQXString m_sLabel;
    CQXString m_sValue;
    std::vector<Choice> m_Choices;
    CPropertyUpdateDelegate* m_pDelegate = nullptr;
};

// One page. It outlives a system restart that is asked for while it is stored.
class CPropertySet
{
public:
    struct Action {
        int iID;
        CQXString sText;
    };

    // Both add a property at the end and return it; the set owns it.
    CSystemProperty* AddTextProperty(CQXString sLabel, CQXString sValue, int iID, int iFlags);
    CSystemProperty* AddMultiProperty(CQXString sLabel, int iSelected, int iID, int iFlags);

    CSystemProperty* Property(int iID) const; // null when there is none
    void SetAttribBits(int iID, int iBits);   // of a property; an unknown id does nothing
    void AddAction(int iID, CQXString sText);
    int DeleteAction(int iID); // non-zero when there was one

    const std::vector<std::unique_ptr<CSystemProperty>>& Properties() const { return m_Properties; }
    const std::vector<Action>& Actions() const { return m_Actions; }

private:
    std::vector<std::unique_ptr<CSystemProperty>> m_Properties;
    std::vector<Action> m_Actions;
};
