// What `ztkmem report` tells of a recording.
#pragma once

#include <string>

#include "record/books.h"
#include "record/call_sites.h"

namespace ztkmem::record {

struct RecordReport {
    std::string name;  ///< of the recording
    const Facts& facts;
    const Books& books;
    CallSites& sites;
};

/// Resolves the sites that it names.
std::string ReportText(const RecordReport& report);
std::string ReportJson(const RecordReport& report);

/// Blocks held at the end, a fault, or a refusal.
bool HasFindings(const Books& books);

/// A row for each shelf: what was asked for, and what of it the pool had.
std::string ShelfTable(const std::map<Shelf, ShelfFacts>& shelves);

}  // namespace ztkmem::record
