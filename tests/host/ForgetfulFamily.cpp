// A family library that forgot its entry point: the dynamic linker finds that of the module library
// it depends on.
extern "C" __attribute__((visibility("default"))) int FamilyMarker() {
    return 1;
}
