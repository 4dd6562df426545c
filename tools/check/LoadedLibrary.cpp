#include "LoadedLibrary.h"

#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <cstring>
#include <regex>

namespace check {

namespace {

/// What the dynamic section says, as far as it is wanted here.
struct Tables {
    const char* names = nullptr;
    std::size_t size = 0; ///< of `names`, in bytes
    const char* symbols = nullptr;
    std::vector<std::size_t> needed; ///< offsets in `names`
};

/// Some C libraries have put the library's base into the section already, others have not.
const char* addressOf(const link_map& map, ElfW(Addr) address) {
    const ElfW(Addr) there = address < map.l_addr ? address + map.l_addr : address;
    return reinterpret_cast<const char*>(there); // NOLINT: this is how the loader hands it out
}

Tables tablesOf(const link_map& map) {
    Tables tables;
    for (const ElfW(Dyn)* entry = map.l_ld; entry->d_tag != DT_NULL; ++entry)
        if (entry->d_tag == DT_STRTAB)
            tables.names = addressOf(map, entry->d_un.d_ptr);
        else if (entry->d_tag == DT_SYMTAB)
            tables.symbols = addressOf(map, entry->d_un.d_ptr);
        else if (entry->d_tag == DT_STRSZ)
            tables.size = entry->d_un.d_val;
        else if (entry->d_tag == DT_NEEDED)
            tables.needed.push_back(entry->d_un.d_val);
    return tables;
}

/// Nothing says how many symbols there are, but their names lie behind them. Where a linker has put other
/// tables in between, these are taken for symbols as well, and bring at worst the end of a name.
std::vector<std::string> namesOf(const Tables& tables) {
    std::vector<std::string> names;
    for (const char* at = tables.symbols; at != nullptr && at + sizeof(ElfW(Sym)) <= tables.names;
         at += sizeof(ElfW(Sym))) {
        ElfW(Sym) symbol = {};
        std::memcpy(&symbol, at, sizeof symbol);
        if (symbol.st_name > 0 && symbol.st_name < tables.size)
            names.emplace_back(tables.names + symbol.st_name);
    }
    return names;
}

bool isAnyOf(const std::vector<std::string>& names, const std::string& form) {
    const std::regex expression(form);
    return std::any_of(names.begin(), names.end(),
                       [&](const std::string& name) { return std::regex_match(name, expression); });
}

} // namespace

LoadedLibrary::LoadedLibrary(const std::string& name) {
    void* const library = dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL);
    link_map* map = nullptr;
    if (library == nullptr || dlinfo(library, RTLD_DI_LINKMAP, &map) != 0) {
        const char* const error = dlerror();
        error_ = error != nullptr ? error : name + " can't be loaded";
        return;
    }
    path_ = map->l_name;
    readTables(map);
}

void LoadedLibrary::readTables(const void* linkMap) {
    const Tables tables = tablesOf(*static_cast<const link_map*>(linkMap));
    if (tables.names == nullptr)
        return;
    for (const std::size_t offset : tables.needed)
        needed_.emplace_back(tables.names + offset);
    names_ = namesOf(tables);
}

std::string sonameOf(const std::vector<std::string>& sonames, const std::string& prefix) {
    const auto found = std::find_if(sonames.begin(), sonames.end(), [&](const std::string& soname) {
        return soname.compare(0, prefix.size(), prefix) == 0;
    });
    return found != sonames.end() ? *found : "";
}

int timeBits(const std::vector<std::string>& names, int longBits) {
    const std::string functions = "(clock_gettime|gettimeofday|gmtime|localtime|mktime|timegm|time)";
    if (longBits == 64)
        return 64;
    if (isAnyOf(names, "__" + functions + "64(_r)?"))
        return 64;
    return isAnyOf(names, functions + "(_r)?") ? 32 : 0;
}

Finding compareTimeWidths(int library, int libgps) {
    const std::string words = "time_t has " + std::to_string(library) + " bits in the library";
    if (libgps == 0)
        return warning(words + ", and which width libgps has can't be told",
                       "make sure that it was built with the same _TIME_BITS");
    if (library != libgps)
        return fault(words + " and " + std::to_string(libgps) + " in libgps, which writes past the record",
                     libgps == 64 ? "build the library with -D_TIME_BITS=64 -D_FILE_OFFSET_BITS=64"
                                  : "build the library without -D_TIME_BITS=64");
    return ok(words + " and in libgps");
}

} // namespace check
