// std::random_device by the names under which the library's objects are linked. The real one asks the
// processor what it can do, which a virtual machine answers slowly; nobody but this program sees the names
// that are made of these numbers.
#include <random>
#include <string>

extern "C" {

void __wrap__ZNSt13random_device7_M_initERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE(
    void* /*pDevice*/, const std::string& /*token*/) {}

void __wrap__ZNSt13random_device7_M_finiEv(void* /*pDevice*/) {}

unsigned __wrap__ZNSt13random_device9_M_getvalEv(void* /*pDevice*/) {
    static std::mt19937 numbers;
    return static_cast<unsigned>(numbers());
}

}  // extern "C"
