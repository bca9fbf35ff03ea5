// A recording as a picture: bytes busy and idle over time, of each kind and size class.
#pragma once

#include <string>

#include "log/plot.h"
#include "log/series.h"
#include "record/books.h"

namespace ztkmem::record {

class PlotMaker {
  public:
    /// After each event that the books took.
    void Look(const Event& event, Verdict enVerdict, const Books& books);

    log::Plot Make(const std::string& name, const Books& books) const;

  private:
    struct Curves {
        log::Series busy;
        log::Series idle;
        std::uint64_t nBusy = 0;
        std::uint64_t nIdle = 0;
    };

    std::map<Shelf, Curves> shelves_;
    log::Series refused_;
    log::Series retried_;
    log::Series twice_;
};

}  // namespace ztkmem::record
