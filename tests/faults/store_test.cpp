// The settings store after kills of its writers and after power cuts.

#include "broker_client.h"
#include "fault.h"
#include "operations.h"
#include "settings_writer.h"

#include <memory>
#include <random>

namespace {

using namespace qx::test;
using namespace ::testing;

const std::string kStore = kSettingsFile;
const std::string kOld = "{\"/quillet/update_location\": \"production\", \"/other\": \"o\"}\n";
const std::vector<std::string> kWrite = {"set_quillet_location", "staging"};

/// The store before and after `kWrite`; "" stands for no store.
struct Write {
    std::string before;
    std::string after;
};
const Write kWrites[] = {
    {kOld, "{\"/quillet/update_location\": \"staging\", \"/other\": \"o\"}\n"},
    {"", "{\"/quillet/update_location\": \"staging\"}\n"},
};

/// Returns the store's text, or "" when there is no store.
std::string store() {
    return fs::exists(kStore) ? read_file(kStore) : "";
}

void begin_with(const std::string& text) {
    fs::remove_all(kSettingsDirectory);
    if (!text.empty()) {
        write_file(kStore, text);
    }
}

// Runs the tool repeatedly and kills run N at its Nth call of `fault.call`, until a run makes fewer
// than N such calls. Returns the number of killed runs.
long kill_at_each(Fault fault, const Write& write) {
    for (fault.at = 1;; ++fault.at) {
        SCOPED_TRACE(text_of(fault));
        begin_with(write.before);
        const FaultyRun run = run_with_fault(fault, kWrite);
        if (!run.fired) {
            EXPECT_EQ(run.outcome.status, 0);
            EXPECT_EQ(store(), write.after);
            return fault.at - 1;
        }
        EXPECT_EQ(run.outcome.signal, SIGKILL);
        EXPECT_THAT(store(), AnyOf(write.before, write.after));
        EXPECT_EQ(run_tool(kWrite).status, 0) << "files of the killed run stop the next writer";
        EXPECT_EQ(store(), write.after);
        EXPECT_FALSE(fs::exists(kStore + ".tmp"));
    }
}

TEST(SettingsStore, IsOldOrNewAfterAKillAtAnyCall) {
    const Simulator simulator;
    for (const Write& write : kWrites) {
        EXPECT_GT(kill_at_each({QX_CALL_any, 0, QX_SIGNAL, SIGKILL}, write), 20);
        EXPECT_GT(kill_at_each({QX_CALL_write, 0, QX_TEAR, 0}, write), 0);
    }
}

TEST(SettingsStore, LosesNoUpdateWhenWritersAreKilled) {
    const unsigned kills = 10000 / fault_step(20);
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    std::uniform_int_distribution<useconds_t> pause(0, 2000);
    begin_with(kOld);
    SettingsWriter writers[] = {SettingsWriter(0), SettingsWriter(1), SettingsWriter(2),
                                SettingsWriter(3)};
    for (unsigned i = 0; i < kills && !Test::HasFailure(); ++i) {
        ::usleep(pause(random)); // so that the kill comes at a random moment
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

/// A model of the settings directory under a power cut. Data that was flushed with fsync survives;
/// other data may or may not survive.
class Disk {
public:
    explicit Disk(const std::string& store_text) {
        if (!store_text.empty()) {
            flushed_ = {{kSettingsDirectory, new_file()}, {kStore, new_file(store_text)}};
        }
        seen_ = flushed_;
    }

    void apply(const Change& change) {
        const std::string& call = change.call;
        const std::string& path = change.path;
        const File file = seen_.contains(path) ? seen_.at(path) : new_file();
        if (call == "write") {
            file->text += change.detail;
        } else if (call == "fsync") {
            file->flushed = file->text;
            flush_names(path);
        } else if (call == "unlink") {
            enter(path, [=](Names& names) { names.erase(path); });
        } else if (call == "rename") {
            enter(path, [=](Names& names) {
                names.erase(path);
                names[change.detail] = file;
            });
        } else if ((call == "open" || call == "mkdir") && !seen_.contains(path)) {
            enter(path, [=](Names& names) { names[path] = file; });
        }
    }

    /// Returns every text that the store may have after a power cut at this moment; "" stands for
    /// no store.
    [[nodiscard]] std::set<std::string> texts_after_cut() const {
        std::set<std::string> texts;
        for (unsigned survivors = 0; survivors < 1U << pending_.size(); ++survivors) {
            Names names = flushed_;
            for (std::size_t i = 0; i < pending_.size(); ++i) {
                if ((survivors >> i & 1U) != 0) {
                    pending_[i].make(names);
                }
            }
            if (!names.contains(kStore) || !names.contains(kSettingsDirectory)) {
                texts.insert("");
                continue;
            }
            const auto& [text, flushed] = *names.at(kStore);
            texts.insert(shown(flushed));
            if (text != flushed) {
                texts.insert({shown(text), shown(text.substr(0, text.size() / 2))});
            }
        }
        return texts;
    }

private:
    struct Content {
        std::string text;
        std::string flushed;
    };
    using File = std::shared_ptr<Content>; // a directory has empty content
    using Names = std::map<std::string, File>;

    struct NameChange {
        fs::path directory;
        std::function<void(Names&)> make;
    };

    static File new_file(const std::string& text = "") {
        return std::make_shared<Content>(Content{text, text});
    }

    /// Returns "empty" for an empty store, because "" stands for no store.
    static std::string shown(const std::string& text) { return text.empty() ? "empty" : text; }

    void enter(const fs::path& path, const std::function<void(Names&)>& change) {
        change(seen_);
        pending_.push_back({path.parent_path(), change});
    }

    void flush_names(const fs::path& directory) {
        const auto is_inside = [&](const NameChange& change) {
            return change.directory == directory;
        };
        for (const NameChange& change : pending_) {
            if (is_inside(change)) {
                change.make(flushed_);
            }
        }
        std::erase_if(pending_, is_inside);
    }

    Names flushed_;
    Names seen_; // the names as the writer sees them
    std::vector<NameChange> pending_;
};

std::vector<Change> changes_of_a_write(const std::string& before) {
    begin_with(before);
    std::vector<Change> changes = changes_of_tool(kWrite);
    std::erase_if(changes, [](const Change& change) {
        return !change.path.starts_with(kSettingsDirectory.string()) && change.path != kInstallDir;
    });
    return changes;
}

/// Returns whether a power cut during the changes always leaves the old or the new store, and a
/// power cut after them leaves the new one.
bool survives_cuts(const std::vector<Change>& changes, const Write& write) {
    Disk disk(write.before);
    for (const Change& change : changes) {
        disk.apply(change);
        if (!Matches(IsSubsetOf({write.before, write.after}))(disk.texts_after_cut())) {
            return false;
        }
    }
    return disk.texts_after_cut() == std::set<std::string>{write.after};
}

TEST(SettingsStore, IsOldOrNewAfterAPowerCut) {
    const Simulator simulator;
    for (const Write& write : kWrites) {
        const std::vector<Change> changes = changes_of_a_write(write.before);
        EXPECT_TRUE(survives_cuts(changes, write));
        // Each fsync must be necessary: without it, a power cut can lose or damage the store.
        for (auto change = changes.begin(); change != changes.end(); ++change) {
            std::vector<Change> without(changes.begin(), change);
            without.insert(without.end(), change + 1, changes.end());
            EXPECT_FALSE(change->call == "fsync" && survives_cuts(without, write)) << change->path;
        }
    }
}

} // namespace
