#pragma once

// Reduces model ids. Ids are reduced when a line is read, so records contain only reduced ids.

#include <string>
#include <string_view>

namespace tallyfin::Pricing {

/// Removes from a model id what does not affect the price: trims it, lower-cases it, and removes every "[1m]"
/// and one date suffix (a dash and eight digits that begin with 20). Never fails.
std::string normalizeModel(std::string_view id);

}  // namespace tallyfin::Pricing
