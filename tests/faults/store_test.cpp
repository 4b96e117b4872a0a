// The settings store when its writer is killed, and when the power is cut.

#include "broker_client.h"
#include "fault.h"
#include "operations.h"
#include "settings_writer.h"

#include <random>
#include <set>
#include <sstream>

namespace {

using namespace qx::test;
using ::testing::AnyOf;

const fs::path kDirectory = kInstallDir / "etc";
const std::string kStore = kSettingsFile;
const std::string kOld = "{\"/quillet/update_location\": \"production\", \"/other\": \"o\"}\n";
const std::string kNew = "{\"/quillet/update_location\": \"staging\", \"/other\": \"o\"}\n";
const std::string kFirst = "{\"/quillet/update_location\": \"staging\"}\n";
const std::vector<std::string> kWrite = {"set_quillet_location", "staging"};

/// The store's text; nothing when there is none.
std::string store() {
    return fs::exists(kStore) ? read_file(kStore) : "";
}

void begin_with(const std::string& text) {
    fs::remove_all(kDirectory);
    if (!text.empty()) {
        write_file(kStore, text);
    }
}

// Tries the kill at each call in turn, until one run is not reached by it. How many were.
long kill_at_each(const std::string& call, const std::string& action, const std::string& before,
                  const std::string& after) {
    for (long n = 1;; ++n) {
        SCOPED_TRACE(call + ":" + std::to_string(n));
        begin_with(before);
        const FaultyRun run =
            run_tool_with_fault(kWrite, call + ":" + std::to_string(n) + ":" + action);
        if (!run.fired) {
            EXPECT_EQ(run.outcome.status, 0);
            EXPECT_EQ(store(), after);
            return n - 1;
        }
        EXPECT_EQ(run.outcome.signal, SIGKILL);
        EXPECT_THAT(store(), AnyOf(before, after));
        EXPECT_EQ(run_tool(kWrite).status, 0) << "the next writer is not stopped by what was left";
        EXPECT_EQ(store(), after);
        EXPECT_FALSE(fs::exists(kStore + ".tmp"));
    }
}

TEST(StoreCrash, AKillAtAnyCallLeavesTheOldOrTheNewStore) {
    const Simulator simulator;
    for (const auto& [before, after] : {std::pair(kOld, kNew), std::pair(std::string(), kFirst)}) {
        EXPECT_GT(kill_at_each("any", "kill", before, after), 20);
        EXPECT_GT(kill_at_each("write", "tear", before, after), 0);
    }
}

// --- kills at random -----------------------------------------------------------------------------

TEST(StoreCrash, KilledWritersLoseNoUpdateAndTearNoFile) {
    const unsigned kills = 10000 / fault_step(20);
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    std::uniform_int_distribution<useconds_t> pause(0, 2000);
    begin_with(kOld);
    SettingsWriter writers[] = {SettingsWriter(0), SettingsWriter(1), SettingsWriter(2),
                                SettingsWriter(3)};
    for (unsigned i = 0; i < kills && !::testing::Test::HasFailure(); ++i) {
        ::usleep(pause(random)); // the moment of the kill
        SettingsWriter& writer = writers[random() % std::size(writers)];
        writer.kill_and_check();
        writer.start();
    }
    long written = 0;
    for (const SettingsWriter& writer : writers) {
        EXPECT_GT(writer.written(), 0);
        written += writer.written();
    }
    EXPECT_EQ(qx::setMgmt::getKeyValue("/other", std::string()), "o");
    std::printf("%u kills of 4 writers, %ld updates, none lost, no torn file\n", kills, written);
}

// --- power cuts ----------------------------------------------------------------------------------

struct Change {
    std::string what;
    std::string first;
    std::string second;
};

std::string from_hex(const std::string& digits) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        bytes.push_back(static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

/// What of the file system survives a cut: what was flushed for certain, everything else perhaps.
class Disk {
public:
    explicit Disk(const std::string& store_text) {
        if (!store_text.empty()) {
            flushed_ = {{kDirectory, kNoFile}, {kStore, add_file(store_text)}};
            files_[flushed_[kStore]].flushed = store_text;
        }
        seen_ = flushed_;
    }

    void apply(const Change& change) {
        if (change.what == "create") {
            enter({change.first, "", add_file("")});
        } else if (change.what == "mkdir") {
            enter({change.first, "", kNoFile});
        } else if (change.what == "unlink") {
            enter({"", change.first, kNoFile});
        } else if (change.what == "rename") {
            enter({change.second, change.first, seen_.at(change.first)});
        } else if (change.what == "write" && seen_.contains(change.first)) {
            files_[seen_.at(change.first)].text += from_hex(change.second);
        } else if (change.what == "fsync") {
            flush(change.first);
        }
    }

    /// Every text that the store can have after a cut now; "" stands for no store.
    [[nodiscard]] std::set<std::string> texts_after_cut() const {
        std::set<std::string> texts;
        for (unsigned survivors = 0; survivors < 1U << pending_.size(); ++survivors) {
            Names names = flushed_;
            for (std::size_t i = 0; i < pending_.size(); ++i) {
                if ((survivors >> i & 1U) != 0) {
                    change_names(names, pending_[i]);
                }
            }
            if (!names.contains(kStore) || !names.contains(kDirectory)) {
                texts.insert("");
                continue;
            }
            const File& file = files_[names.at(kStore)];
            // A torn text must show as such, not as "no store".
            for (const std::string& text :
                 {file.flushed, file.text, file.text.substr(0, file.text.size() / 2)}) {
                texts.insert(file.flushed == file.text ? file.text
                                                       : text + (text.empty() ? "empty" : ""));
            }
        }
        return texts;
    }

private:
    static constexpr std::size_t kNoFile = ~std::size_t{0};
    using Names = std::map<std::string, std::size_t>;

    struct File {
        std::string text;
        std::string flushed;
    };

    struct Entry {
        std::string added;
        std::string removed;
        std::size_t file;
    };

    std::size_t add_file(const std::string& text) {
        files_.push_back({text, ""});
        return files_.size() - 1;
    }

    static void change_names(Names& names, const Entry& entry) {
        names.erase(entry.removed);
        if (!entry.added.empty()) {
            names[entry.added] = entry.file;
        }
    }

    void enter(const Entry& entry) {
        change_names(seen_, entry);
        pending_.push_back(entry);
    }

    void flush(const std::string& path) {
        const auto found = seen_.find(path);
        if (found != seen_.end() && found->second != kNoFile) {
            files_[found->second].flushed = files_[found->second].text;
            return;
        }
        std::vector<Entry> left;
        for (const Entry& entry : pending_) {
            const fs::path name = entry.added.empty() ? entry.removed : entry.added;
            if (name.parent_path() == path) {
                change_names(flushed_, entry);
            } else {
                left.push_back(entry);
            }
        }
        pending_ = left;
    }

    std::vector<File> files_;
    Names flushed_;
    Names seen_;
    std::vector<Entry> pending_;
};

std::vector<Change> journal_of_a_write(const std::string& before) {
    begin_with(before);
    EXPECT_EQ(run_tool_with_fault(kWrite, "").outcome.status, 0);
    std::vector<Change> changes;
    for (const std::string& line : lines_of(read_file(kJournal))) {
        std::istringstream words(line);
        Change change;
        words >> change.what >> change.first >> change.second;
        if (change.first.starts_with(kDirectory.string()) || change.first == kInstallDir) {
            changes.push_back(change);
        }
    }
    return changes;
}

/// True when each cut during the changes leaves the old or the new store, and each later one the
/// new.
bool survives_cuts(const std::vector<Change>& changes, const std::string& before,
                   const std::string& after) {
    Disk disk(before);
    for (const Change& change : changes) {
        disk.apply(change);
        for (const std::string& text : disk.texts_after_cut()) {
            if (text != before && text != after) {
                return false;
            }
        }
    }
    return disk.texts_after_cut() == std::set<std::string>{after};
}

TEST(StoreCrash, APowerCutLeavesTheOldOrTheNewStore) {
    const Simulator simulator;
    for (const auto& [before, after] : {std::pair(kOld, kNew), std::pair(std::string(), kFirst)}) {
        const std::vector<Change> changes = journal_of_a_write(before);
        EXPECT_TRUE(survives_cuts(changes, before, after));
        // No flush is there in vain.
        for (std::size_t i = 0; i < changes.size(); ++i) {
            std::vector<Change> without = changes;
            without.erase(without.begin() + static_cast<std::ptrdiff_t>(i));
            EXPECT_FALSE(changes[i].what == "fsync" && survives_cuts(without, before, after))
                << changes[i].first;
        }
    }
}

} // namespace
