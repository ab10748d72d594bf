#pragma once

#include <string_view>

namespace qar::wrapper {

// Action id of the first entry of the action table (the names gActionList is built from) that
// equals name exactly, or -1. Gives the same answer as a scan of gActionList from the front, in a
// handful of comparisons and without allocating; it does not depend on gActionList having been
// built yet.
int findActionIndex(std::string_view name);

// Action id addressed by an event name: when the name contains "TRIVEX_" anywhere, the text after
// its first seven characters is looked up with findActionIndex; otherwise, or when nothing
// matches, -1. So "TRIVEX_ACTION_TOUCH_BOOST" names ACTION_TOUCH_BOOST, while a bare
// "ACTION_TOUCH_BOOST" or "xTRIVEX_ACTION_TOUCH_BOOST" names nothing.
int findActionIdForEvent(std::string_view eventId);

}  // namespace qar::wrapper
