// A library that is a plug-in, or fails to be one in the way that its build asks for.

#ifdef FAKE_UNRESOLVED
extern "C" int vestara_no_such_symbol();
#endif

#ifndef FAKE_NO_DLLMAIN
int DllMain(int, unsigned, void*);
int DllMain(int, unsigned, void*)
{
#if defined(FAKE_UNRESOLVED)
    return vestara_no_such_symbol();
#elif defined(FAKE_REFUSES)
    return 0;
#else
    return 1;
#endif
}
#endif

extern "C" {
#ifndef FAKE_NO_SIGNATURE
unsigned GetLibSignature();
unsigned GetLibSignature()
{
#ifdef FAKE_WRONG_SIGNATURE
    return 0x08000091;
#else
    return 0x08000090;
#endif
}
#endif
void LoadDeviceInterfaces(void*, void*);
void LoadDeviceInterfaces(void*, void*) {}
void* CreateDeviceInterface(void*);
void* CreateDeviceInterface(void*)
{
    return nullptr;
}
void LoadSystemComponentDefs(void*, int, void*);
void LoadSystemComponentDefs(void*, int, void*) {}
#ifndef FAKE_NO_COMPONENT
void* CreateSystemComponent(void*);
void* CreateSystemComponent(void*)
{
    return nullptr;
}
#endif
}
