// SPDX-License-Identifier: MIT
// The power is cut at every sync, and at many other moments, of a random load: whatever the storage then has of what
// was not synced, the store opens, with every change that module_sync had answered as safe, and every later batch of
// changes is there as a whole or not at all.
#include "powercut/load.h"
#include "powercut/recorder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <optional>
#include <ostream>
#include <random>
#include <variant>

using namespace varnel;
using namespace varnel::test;

namespace {

// Saves the time of syncs that do not matter.
class NoSyncs : public SystemObserver {
public:
    bool syncs_really() override { return false; }
};

struct Verdict {
    int cuts = 0;
    int wrong = 0;
    std::string first_wrong;
};

class PowerCuts {
public:
    PowerCuts(const Recording &recording, const Settings &settings, unsigned seed)
        : recording_(recording), settings_(settings), random_(seed) {}

    // Cuts the power at many moments, in every way.
    Verdict judge();

private:
    [[nodiscard]] bool is_worth_a_cut(std::size_t moment);
    [[nodiscard]] std::optional<Content> content_after(const Files &files) const;
    [[nodiscard]] bool is_right(const std::optional<Content> &content, std::size_t moment) const;
    void cut(const Disk &disk, std::size_t moment, Unsynced unsynced, Verdict &verdict);

    const Recording &recording_;
    const Settings &settings_;
    std::mt19937 random_;
};

// Before and after every sync of a file or the folder, and at a sample of the other events.
bool PowerCuts::is_worth_a_cut(std::size_t moment) {
    const auto is_sync = [this](std::size_t i) {
        return i < recording_.events.size() && (std::holds_alternative<FileSynced>(recording_.events[i]) ||
                                                std::holds_alternative<FolderSynced>(recording_.events[i]));
    };
    return is_sync(moment) || (moment > 0 && is_sync(moment - 1)) || random_() % 16 == 0;
}

std::optional<Content> PowerCuts::content_after(const Files &files) const {
    const SqliteFolder fresh;
    std::filesystem::create_directory(fresh.folder());
    for (const auto &[path, bytes] : files)
        write_file(fresh.folder() + path.substr(recording_.folder.size()), bytes);
    const Storage storage = fresh.open(settings_);
    return content_of(storage.store());
}

// Batches that were answered before must be there, those that had not begun cannot.
bool PowerCuts::is_right(const std::optional<Content> &content, std::size_t moment) const {
    auto first = recording_.batches.begin();
    auto end = first;
    for (auto batch = recording_.batches.begin(); batch != recording_.batches.end() && batch->begin <= moment;
         ++batch) {
        if (batch->end <= moment)
            first = batch;
        end = std::next(batch);
    }
    return content && std::any_of(first, end, [&](const Batch &batch) { return batch.content == *content; });
}

void PowerCuts::cut(const Disk &disk, std::size_t moment, Unsynced unsynced, Verdict &verdict) {
    ++verdict.cuts;
    const std::optional<Content> content = content_after(disk.after_cut(unsynced, random_));
    if (is_right(content, moment))
        return;
    if (verdict.wrong++ == 0)
        verdict.first_wrong = "after " + std::to_string(moment) + " of " + std::to_string(recording_.events.size()) +
                              " events, unsynced changes " + std::to_string(static_cast<int>(unsynced)) +
                              (content ? ": changes are missing or torn" : ": the store does not open");
}

Verdict PowerCuts::judge() {
    const NoSyncs no_syncs;
    Verdict verdict;
    Disk disk;
    for (std::size_t moment = 0; moment <= recording_.events.size(); ++moment) {
        if (moment > 0)
            disk.happen(recording_.events[moment - 1]);
        if (!is_worth_a_cut(moment))
            continue;
        for (const Unsynced unsynced : {Unsynced::lost, Unsynced::kept, Unsynced::some, Unsynced::some})
            cut(disk, moment, unsynced, verdict);
    }
    return verdict;
}

struct Mode {
    const char *journal;
    const char *sync;
    unsigned seed;
};

void PrintTo(const Mode &mode, std::ostream *out) {
    *out << mode.journal << " " << mode.sync << " " << mode.seed;
}

class RandomPowerCuts : public testing::TestWithParam<Mode> {
protected:
    static void SetUpTestSuite() { install_recording_vfs(); }

    // What the module answers is taken for at least a synced file.
    RandomPowerCuts()
        : settings_{{"journal", GetParam().journal}, {"sync", GetParam().sync}},
          recording_(run_load(settings_, GetParam().seed)) {}

    [[nodiscard]] Verdict judge() const { return PowerCuts(recording_, settings_, GetParam().seed).judge(); }

    [[nodiscard]] bool all_answered_as_safe() const {
        return std::all_of(recording_.batches.begin(), recording_.batches.end(),
                           [](const Batch &batch) { return batch.result >= DURABILITY_FILE; });
    }

    Settings settings_;
    Recording recording_;
};

class RandomPowerCutsWithoutSyncs : public RandomPowerCuts {};

std::string name_of(const testing::TestParamInfo<Mode> &mode) {
    return std::string(mode.param.journal) + "_" + mode.param.sync + "_" + std::to_string(mode.param.seed);
}

} // namespace

// So that there are cuts while the log, or the journal, is begun anew in a file that is there.
TEST_P(RandomPowerCuts, HappensToJournalsThatAreUsedAgain) {
    std::map<FileNumber, int> begins;
    for (const Event &event : recording_.events) {
        const auto *const written = std::get_if<Written>(&event);
        if (written != nullptr && written->offset == 0)
            ++begins[written->file];
    }
    EXPECT_LE(2, std::count_if(begins.begin(), begins.end(), [](const auto &file) { return file.second > 1; }));
}

TEST_P(RandomPowerCuts, LosesNothingThatWasAnsweredAsSafe) {
    EXPECT_TRUE(all_answered_as_safe());
    const Verdict verdict = judge();
    EXPECT_EQ(0, verdict.wrong) << verdict.first_wrong;
    EXPECT_LT(300, verdict.cuts);
}

// The simulation finds syncs that are missing.
TEST_P(RandomPowerCutsWithoutSyncs, LosesChanges) {
    EXPECT_FALSE(all_answered_as_safe());
    const Verdict verdict = judge();
    EXPECT_LT(verdict.cuts / 10, verdict.wrong);
}

INSTANTIATE_TEST_SUITE_P(Modes, RandomPowerCuts,
                         testing::Values(Mode{"wal", "full", 1}, Mode{"wal", "full", 2}, Mode{"wal", "extra", 3},
                                         Mode{"delete", "full", 1}, Mode{"delete", "full", 2},
                                         Mode{"delete", "extra", 3}, Mode{"truncate", "full", 1},
                                         Mode{"persist", "full", 1}),
                         name_of);
INSTANTIATE_TEST_SUITE_P(Modes, RandomPowerCutsWithoutSyncs,
                         testing::Values(Mode{"wal", "off", 1}, Mode{"wal", "normal", 1}, Mode{"delete", "off", 1},
                                         Mode{"truncate", "off", 1}, Mode{"persist", "off", 1}),
                         name_of);
