// exportedSymbol.h: what libquoria exports, found by the names that programs built before ask for.
#ifndef EXPORTEDSYMBOL_H
#define EXPORTEDSYMBOL_H

#include <dlfcn.h>
#include <elf.h>
#include <link.h>

#include <cstddef>
#include <stdexcept>
#include <string>

// A variable that the program refers to itself may lie in the program, as a copy that the library
// uses as well.
struct ExportedSymbol {
    // Throws std::runtime_error where there is no such symbol.
    explicit ExportedSymbol(const std::string& name) : address(dlsym(RTLD_DEFAULT, name.c_str())) {
        Dl_info info = {};
        const ElfW(Sym)* symbol = nullptr;
        void* const extra = &symbol;
        if (address == nullptr ||
            dladdr1(address, &info, static_cast<void**>(extra), RTLD_DL_SYMENT) == 0 ||
            symbol == nullptr) {
            throw std::runtime_error("nobody exports " + name);
        }
        size = symbol->st_size;
    }

    template <typename Type>
    Type& as() const {
        return *static_cast<Type*>(address);
    }

    void* address;
    std::size_t size = 0;
};

// The name of the exported function at an address, for messages.
inline std::string exportedNameAt(const void* address) {
    Dl_info info = {};
    return dladdr(address, &info) != 0 && info.dli_sname != nullptr ? info.dli_sname : "?";
}

#endif
