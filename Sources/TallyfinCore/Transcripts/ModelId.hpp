#pragma once

// The reduction of model ids, which happens once, when a line is read: records hold reduced ids alone.

#include <string>
#include <string_view>

namespace tallyfin::Pricing {

/// A model id without what does not matter for its price: trimmed, lower-cased, without "[1m]" and without
/// one date suffix of a dash and eight digits beginning with 20. Never fails.
std::string normalizeModel(std::string_view id);

}  // namespace tallyfin::Pricing
