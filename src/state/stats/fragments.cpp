// Statistics that platform libraries hand over as ready XML fragments.
#include "base/xml.h"
#include "reply/reply.h"
#include "state/stats/stats.h"

#include "cellmgr.h"
#include "tethra.h"

#include <cstdlib>
#include <memory>
#include <string>

namespace
{

struct free_deleter {
    void operator()(char *text) const { std::free(text); }
};

// A fragment that does not parse would take the whole reply with it: it is then passed on as
// text, escaped, so the client still sees what the library said.
bool well_formed(const char *fragment)
{
    std::string document = "<f>" + std::string(fragment) + "</f>";
    return xml::parse_memory(document.data(), static_cast<int>(document.size())) != nullptr;
}

int library_fragment(reply_buffer *reply, state_mode mode, char *(*fetch)())
{
    if (mode != STATE_QUERY) return STATE_NOT_SETTABLE;
    std::unique_ptr<char, free_deleter> fragment(fetch());
    if (!fragment) return -1;
    if (well_formed(fragment.get()))
        reply->append(fragment.get());
    else
        reply->append_text(fragment.get());
    return STATE_DONE;
}

} // namespace

int mobile_stats(reply_buffer *reply, xmlNodePtr, state_mode mode, const state_arg &)
{
    return library_fragment(reply, mode, cellmgr_get_rci);
}

int tethra_info(reply_buffer *reply, xmlNodePtr, state_mode mode, const state_arg &)
{
    return library_fragment(reply, mode, tethra_query_state);
}
