#pragma once
// Property pages.

#include "host/QXString.h"

#include <memory>

class CPropertySet;
class CSystemProperty;

enum PROPERTYSET_DDX : int { PROPERTYSET_DDX_BUILD, PROPERTYSET_DDX_STORE, PROPERTYSET_DDX_MARK };
enum PROPERTY_UPDATE_CTX : int { PROPERTY_UPDATE_BUILD, PROPERTY_UPDATE_REFRESH };

class CPropertyUpdateDelegate
{
public:
    virtual int UpdateProperty(CSystemProperty* property, PROPERTY_UPDATE_CTX context, CPropertySet* set,
                               int reserved1, int reserved2) = 0;
    virtual ~CPropertyUpdateDelegate();
};

class CActionButtonHandler
{
public:
    virtual CQXString GetActionURL(int action) = 0;
    virtual int ExecuteAction(int action, CPropertySet* set) = 0;
    virtual ~CActionButtonHandler();
};

class CSystemProperty
{
public:
    explicit CSystemProperty(int id); // the host's own
    ~CSystemProperty();
    int ID() const;
    void Value(CQXString value);
    void AddChoice(CQXString name, int index);
    void SelectChoice(int index);
    int SelectedIndex() const;
    void UpdateDelegate(CPropertyUpdateDelegate* delegate);

    struct Own; // the host's own
    const std::unique_ptr<Own> state;
};

class CPropertySet
{
public:
    CPropertySet();
    ~CPropertySet();
    CSystemProperty* AddTextProperty(CQXString label, CQXString value, int id, int flags);
    CSystemProperty* AddMultiProperty(CQXString label, int selected, int id, int flags);
    CSystemProperty* Property(int id) const;
    void SetAttribBits(int id, int bits);
    int DeleteAction(int id);

    struct Own; // the host's own
    const std::unique_ptr<Own> state;
};
