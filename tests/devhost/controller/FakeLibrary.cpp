// A library that is a plug-in, or fails to be one in the way that its build asks for.

extern "C" int vestara_no_such_symbol();

int DllMain(int, unsigned, void*)
{
    return FAKE_RESULT;
}

extern "C" {
unsigned GetLibSignature()
{
    return FAKE_SIGNATURE;
}
void LoadDeviceInterfaces(void*, void*) {}
void* CreateDeviceInterface(void*)
{
    return nullptr;
}
void LoadSystemComponentDefs(void*, int, void*) {}
void* CreateSystemComponent(void*)
{
    return nullptr;
}
}
