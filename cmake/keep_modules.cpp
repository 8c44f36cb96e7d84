// Linked into the programs of sanitizer builds: modules stay loaded, so that a leak report at the end can
// name the module (a graphics driver, say) that an allocation came from.
extern "C" int dlclose(void*) {
    return 0;
}
