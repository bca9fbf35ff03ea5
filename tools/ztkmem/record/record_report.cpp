#include "record/record_report.h"

#include <fmt/format.h>

#include <algorithm>

#include "record/record_words.h"
#include "table.h"
#include "text.h"

namespace ztkmem::record {
namespace {

constexpr std::size_t kMostRows = 30;

Column Left(const char* szTitle) {
    return {szTitle, Align::kLeft};
}
Column Right(const char* szTitle) {
    return {szTitle, Align::kRight};
}

class Writer {
  public:
    explicit Writer(const RecordReport& report) : report_(report), books_(report.books) {}

    std::string Write() {
        Resolve();
        AddHead();
        text_ += '\n' + ShelfTable(books_.Shelves());
        AddHeld("Held at the end", books_.Holdings());
        AddHeld("Held when the library was unloaded", books_.LostAtUnload());
        AddDoubles();
        AddFaults("Released, but the pool does not know the address", books_.Unknowns());
        AddFaults("Requests with nowhere to put the address", books_.BadCalls());
        AddRefusal();
        AddNotes();
        return text_;
    }

  private:
    void Resolve() {
        std::set<std::uint32_t> sites;
        for (const auto& holdings : {books_.Holdings(), books_.LostAtUnload()}) {
            for (std::size_t i = 0; i < std::min(holdings.size(), kMostRows); ++i)
                sites.insert(holdings[i].nSite);
        }
        for (const Faults* pFaults : {&books_.Doubles(), &books_.Unknowns(), &books_.BadCalls()}) {
            for (const auto& [key, fault] : *pFaults)
                sites.insert({fault.first.nSite, fault.nEarlierSite});
        }
        if (const auto& refusal = books_.FirstRefusal()) {
            sites.insert(refusal->event.nSite);
            for (std::size_t i = 0; i < std::min(refusal->holdings.size(), kMostRows); ++i)
                sites.insert(refusal->holdings[i].nSite);
        }
        report_.sites.Resolve(sites);
    }

    void AddHead() {
        const Facts& facts = report_.facts;
        const char* szEnd = "no end seen: it runs still, was killed, or left by _exit()";
        if (facts.Has(ztk_record::kEnded)) szEnd = "it came to its exit";
        text_ +=
            fmt::format("{}: process {}, {}\n", Escape(report_.name), facts.nProcess, Escape(facts.program));
        text_ += fmt::format("{} in {}, {}; {}\n", Counted(books_.Calls(), "call"),
                             Counted(books_.Threads(), "thread"), Seconds(books_.Last()), szEnd);
        const Totals& sum = books_.Sum();
        text_ += fmt::format("most at a time: {} busy, {} idle, {} together\n", HumanBytes(sum.nPeakBusy),
                             HumanBytes(sum.nPeakIdle), HumanBytes(sum.nPeakOwned));
    }

    /// With stacks, a row for each of the callers, too.
    void AddSite(Table& table, std::vector<std::string> cells, std::uint32_t nSite) const {
        const std::vector<std::string> names = report_.sites.NamesOf(nSite);
        const std::size_t nCells = cells.size();
        for (std::size_t i = 0; i < names.size(); ++i) {
            if (i != 0) cells.assign(nCells, "");
            cells.push_back(i == 0 ? names[i] : "  called by " + names[i]);
            table.AddRow(cells);
            cells.pop_back();
        }
    }

    void AddMore(std::size_t nAll) {
        if (nAll > kMostRows) text_ += fmt::format("... and {} more\n", Counted(nAll - kMostRows, "place"));
    }

    void AddHeld(const char* szTitle, const std::vector<Holding>& holdings) {
        if (holdings.empty()) return;
        Amount all;
        for (const Holding& holding : holdings) {
            all.nBlocks += holding.amount.nBlocks;
            all.nBytes += holding.amount.nBytes;
        }
        text_ +=
            fmt::format("\n{}: {}, {}\n", szTitle, Counted(all.nBlocks, "block"), HumanBytes(all.nBytes));
        AddHoldings(holdings);
    }

    void AddHoldings(const std::vector<Holding>& holdings) {
        Table table({Right("BYTES"), Right("BLOCKS"), Left("KIND"), Right("SINCE"), Left("TAKEN BY")});
        for (std::size_t i = 0; i < std::min(holdings.size(), kMostRows); ++i) {
            const Holding& holding = holdings[i];
            AddSite(table,
                    {HumanBytes(holding.amount.nBytes), std::to_string(holding.amount.nBlocks),
                     NameOf(holding.enKind), Seconds(holding.nOldest)},
                    holding.nSite);
        }
        text_ += table.Text();
        AddMore(holdings.size());
    }

    void AddDoubles() {
        const Faults& faults = books_.Doubles();
        if (faults.empty()) return;
        text_ +=
            "\nReleased although idle already. If the block had been handed out again between the two\n"
            "releases before, it is the one before that was too many: see who released before\n";
        Table table({Right("TIMES"), Left("KIND"), Right("FIRST AT"), Left("ADDRESS"), Left("RELEASED BY")});
        std::size_t nRow = 0;
        for (const auto& [key, fault] : faults) {
            if (++nRow > kMostRows) break;
            AddSite(table,
                    {std::to_string(fault.nTimes), NameOf(fault.enKind), Seconds(fault.first.nAt),
                     fmt::format("{:#x}", fault.first.nAddress)},
                    fault.first.nSite);
            AddSite(table, {"", "", "", "before:"}, fault.nEarlierSite);
        }
        text_ += table.Text();
        AddMore(faults.size());
    }

    void AddFaults(const char* szTitle, const Faults& faults) {
        if (faults.empty()) return;
        text_ += fmt::format("\n{}\n", szTitle);
        Table table(
            {Right("TIMES"), Left("FUNCTION"), Right("FIRST AT"), Left("ADDRESS"), Left("CALLED BY")});
        std::size_t nRow = 0;
        for (const auto& [key, fault] : faults) {
            if (++nRow > kMostRows) break;
            AddSite(table,
                    {std::to_string(fault.nTimes), NameOf(fault.first.enOperation), Seconds(fault.first.nAt),
                     fmt::format("{:#x}", fault.first.nAddress)},
                    fault.first.nSite);
        }
        text_ += table.Text();
        AddMore(faults.size());
    }

    void AddRefusal() {
        const auto& refusal = books_.FirstRefusal();
        if (!refusal) return;
        const Event& event = refusal->event;
        text_ += fmt::format("\nFirst refusal at {}: {} of {}, alignment {}, kind {} gave {}\n",
                             Seconds(event.nAt), NameOf(event.enOperation), HumanBytes(event.nSize),
                             event.nAlign, NameOf(ShelfOf(event).enKind), StatusName(event.nStatus));
        text_ += fmt::format("  called by {}\n", report_.sites.NameOf(event.nSite));
        text_ += "The pools at that moment\n" + ShelfTable(refusal->shelves);
        AddHeld("Busy at that moment", refusal->holdings);
    }

    void AddNotes() {
        const Facts& facts = report_.facts;
        std::string notes;
        if (!facts.Has(ztk_record::kSawLog) && books_.Calls() > 0)
            notes +=
                "The library's log lines did not pass the recorder: which blocks were reused is inferred "
                "from "
                "addresses,\nand idle bytes are an upper bound, since what went back to the system is not "
                "seen.\n";
        if (facts.Has(ztk_record::kForked))
            notes += fmt::format(
                "A forked child of process {}: it began with copies of the heap blocks of its parent.\n",
                facts.nParent);
        if (books_.Unseen() != 0)
            notes +=
                fmt::format("{} of blocks from before the recording.\n", Counted(books_.Unseen(), "release"));
        if (facts.Has(ztk_record::kStopped))
            notes += "The recording is not complete: its file could not grow.\n";
        if (facts.Has(ztk_record::kSitesMissing))
            notes += "There were more call sites than the recorder keeps; the others are shown as \"?\".\n";
        if (!notes.empty()) text_ += '\n' + notes;
    }

    const RecordReport& report_;
    const Books& books_;
    std::string text_;
};

}  // namespace

std::string ReportText(const RecordReport& report) {
    return Writer(report).Write();
}

bool HasFindings(const Books& books) {
    return !books.Holdings().empty() || !books.LostAtUnload().empty() || !books.Doubles().empty() ||
           !books.Unknowns().empty() || !books.BadCalls().empty() || books.FirstRefusal().has_value();
}

std::string ShelfTable(const std::map<Shelf, ShelfFacts>& shelves) {
    Table table({Left("KIND"), Left("SIZE CLASS"), Right("REQUESTS"), Right("REUSED"), Right("MADE"),
                 Right("RETRIED"), Right("REFUSED"), Right("PEAK BUSY"), Right("PEAK IDLE"),
                 Right("BUSY NOW"), Right("IDLE NOW")});
    for (const auto& [shelf, facts] : shelves) {
        table.AddRow({NameOf(shelf.enKind), ClassName(shelf.nClass), std::to_string(facts.nRequests),
                      Percent(facts.nReused, facts.nReused + facts.nMade), std::to_string(facts.nMade),
                      std::to_string(facts.nRetried), std::to_string(facts.nRefused),
                      HumanBytes(facts.nPeakBusy), HumanBytes(facts.nPeakIdle), HumanBytes(facts.busy.nBytes),
                      HumanBytes(facts.idle.nBytes)});
    }
    return table.Text();
}

}  // namespace ztkmem::record
