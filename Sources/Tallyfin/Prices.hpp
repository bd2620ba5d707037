#pragma once

// The price list as a text: every price in use, the models without one, and the lines that would give them
// one.

#include "Platform/Calendar.hpp"
#include "TallyfinCore/Attribution/PriceList.hpp"
#include "TallyfinCore/Transcripts/Records.hpp"

#include <span>
#include <string>

namespace tallyfin::Command {

/// All prices with how many of the records each has priced, one's own first; then the models of records
/// without a price, the most used first, and what to paste into the file for them. Days are those of
/// `calendar`.
std::string priceTable(const PriceList& prices, const RecordList& records, const Calendar& calendar);

/// What a check of a file of one's own found, in a line: how many models it prices, or why it cannot be used.
std::string checkedPrices(const PriceList& prices);

}  // namespace tallyfin::Command
