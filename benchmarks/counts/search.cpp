// The handler's pattern search over a read buffer, and a read of its wait for an acknowledgement.

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "Counting.h"
#include "Handler.h"
#include "HandlerMembers.h"
#include "Haystacks.h"

namespace {

// --- Search ---------------------------------------------------------------------------------------------

void registerSearches(const char* key, const Haystack& haystack) {
    for (const Searcher& searcher : searchers())
        Counted(key, searcher.who, [&](int n) {
            for (int i = 0; i < n; ++i)
                keep(searchAll(searcher, haystack.bytes));
        });
}

const bool kSearchesAreRegistered = [] {
    if (!hitsAreTheSame())
        notTheSame("positions of a search");
    static std::vector<std::string> keys; // they live as long as the program
    keys.reserve(haystacks().size());
    for (const Haystack& haystack : haystacks())
        registerSearches(keys.emplace_back(std::string("search.") + haystack.name).c_str(), haystack);
    return true;
}();

// --- One read of a wait ---------------------------------------------------------------------------------

/// The handler's, of an idle line.
void waitOnce() {
    UbxConfigHandler& handler = idleHandler();
    handler.*memberOf(HandlerMaxReads()) = 1;
    handler.waitForAck(0, false);
}

/// The same with a search of somebody else's.
void readOnce(const Searcher& searcher) {
    static Bytes buffer(5000);
    static FILE* const port = std::fopen("/dev/ttymxc1", "rb");
    std::fill(buffer.begin(), buffer.end(), static_cast<unsigned char>(0));
    clearerr(port);
    keep(std::fread(buffer.data(), 1, buffer.size(), port));
    keep(searchForAcknowledgements(searcher, buffer));
}

const Counted kOurRead("wait-read", "ours", [](int n) {
    for (int i = 0; i < n; ++i)
        waitOnce();
});
const Counted kReadWithMemmem("wait-read", "memmem", [](int n) {
    for (int i = 0; i < n; ++i)
        readOnce(searchers()[1]);
});

} // namespace
