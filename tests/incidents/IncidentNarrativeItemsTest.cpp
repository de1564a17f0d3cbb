// SPDX-License-Identifier: Apache-2.0
// What overlapped and what changed.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "incidents/IncidentSamples.h"
#include "incidents/rules/IncidentNarrativeBuilder.h"

namespace corvanta {
namespace {

using IncidentNarrativeBuilder::build;
using test::after;
using test::bareIncident;
using test::endedIncident;
using test::interruptedIncident;
using test::joined;
using test::recoveringIncident;
using test::sampleAfter;
using test::Samples;
using test::samplesAfter;
using Items = std::vector<IncidentNarrativeItem>;

constexpr double infinity = std::numeric_limits<double>::infinity();
const double notANumber = std::nan("");

Items changesOf(const PerformanceIncident& incident, const Samples& samples) {
    return build(incident, samples, after(600)).changes;
}

Items signalsOf(const PerformanceIncident& incident, const Samples& samples) {
    return build(incident, samples, after(600)).overlappingSignals;
}

IncidentNarrativeItem cpuChanged(const std::string& figures, const char* image) {
    return {"CPU changed", "Average CPU moved from " + figures, image};
}

bool hasTitle(const Items& items, const std::string& title) {
    return std::any_of(items.begin(), items.end(), [&](const auto& item) { return item.title == title; });
}

// The stretches of time

TEST(IncidentNarrative, aSampleAtTheStartIsTheIncidentsOwn) {
    const PerformanceIncident incident = endedIncident(IncidentKind::cpu, 100);
    EXPECT_EQ(changesOf(incident, samplesAfter({0}, 90)).at(0).title, "CPU peak");
    EXPECT_EQ(changesOf(incident, joined(samplesAfter({-0.001}, 20), samplesAfter({0}, 90))).at(0),
              cpuChanged("20% to 90% (+70 points).", "arrow.up.right"));
}

TEST(IncidentNarrative, theBaselineBeginsFiveMinutesBeforeTheStart) {
    const PerformanceIncident incident = endedIncident(IncidentKind::cpu, 100);
    EXPECT_EQ(changesOf(incident, joined(samplesAfter({-300}, 20), samplesAfter({0}, 90))).at(0).title,
              "CPU changed");
    EXPECT_EQ(changesOf(incident, joined(samplesAfter({-300.001}, 20), samplesAfter({0}, 90))).at(0).title,
              "CPU peak");
}

TEST(IncidentNarrative, aSampleAtTheEndIsTheIncidentsOwnAndALaterOneIsNot) {
    const Samples samples =
        joined(samplesAfter({-10}, 50), joined(samplesAfter({0, 100}, 80), samplesAfter({100.001}, 0)));
    const auto expected = cpuChanged("50% to 80% (+30 points).", "arrow.up.right");
    EXPECT_EQ(changesOf(endedIncident(IncidentKind::cpu, 100), samples).at(0), expected);
    EXPECT_EQ(changesOf(interruptedIncident(IncidentKind::cpu, 100), samples).at(0), expected);
    EXPECT_EQ(changesOf(recoveringIncident(IncidentKind::cpu, 100), samples).at(0), expected);
    EXPECT_EQ(build(bareIncident(IncidentKind::cpu), samples, after(100)).changes.at(0), expected);
}

TEST(IncidentNarrative, theStoredEndGoesBeforeTheStartOfRecovery) {
    PerformanceIncident incident = endedIncident(IncidentKind::cpu, 200);
    incident.recoveryStartedAt = after(100);
    const Samples samples =
        joined(samplesAfter({-10}, 50), joined(samplesAfter({0}, 80), samplesAfter({150}, 90)));
    EXPECT_EQ(changesOf(incident, samples).at(0), cpuChanged("50% to 85% (+35 points).", "arrow.up.right"));
}

// Overlapping signals

TEST(OverlappingSignals, aQuietIncidentHasNone) {
    EXPECT_EQ(signalsOf(bareIncident(IncidentKind::cpu), samplesAfter({0, 10})), Items());
    EXPECT_EQ(signalsOf(bareIncident(IncidentKind::cpu), {}), Items());
}

TEST(OverlappingSignals, cpuCountsFrom85OnInTheRecordOrInASample) {
    PerformanceIncident incident = bareIncident(IncidentKind::memory);
    incident.peakCPU = 84.99;
    EXPECT_EQ(signalsOf(incident, samplesAfter({0}, 84.99)), Items());
    // The text speaks of the record even when a sample gave the reason.
    EXPECT_EQ(signalsOf(incident, samplesAfter({0, 10}, 85)),
              (Items{{"CPU", "System CPU peaked at 85%.", "cpu"}}));
    incident.peakCPU = 12;
    EXPECT_EQ(signalsOf(incident, samplesAfter({0}, 100)),
              (Items{{"CPU", "System CPU peaked at 12%.", "cpu"}}));
    incident.peakCPU = 85;
    EXPECT_EQ(signalsOf(incident, {}), (Items{{"CPU", "System CPU peaked at 85%.", "cpu"}}));
}

TEST(OverlappingSignals, onlyTheIncidentsOwnSamplesCount) {
    Samples samples = samplesAfter({-1, 601}, 100);
    for (IncidentTimelineSample& sample : samples) {
        sample.memoryPressureState = MemoryPressureLevel::critical;
        sample.thermalState = "Critical";
    }
    EXPECT_EQ(signalsOf(bareIncident(IncidentKind::cpu), samples), Items());
}

TEST(OverlappingSignals, memoryCountsWhenElevatedInTheRecordOrInASample) {
    for (const MemoryPressureLevel level : allMemoryPressureLevels) {
        PerformanceIncident incident = bareIncident(IncidentKind::cpu);
        incident.worstMemoryPressureState = level;
        const bool isElevatedLevel =
            level == MemoryPressureLevel::warning || level == MemoryPressureLevel::critical;
        EXPECT_EQ(hasTitle(signalsOf(incident, {}), "Memory"), isElevatedLevel) << label(level);

        Samples samples = samplesAfter({0, 10, 20});
        samples[1].memoryPressureState = level;
        const Items items = signalsOf(bareIncident(IncidentKind::cpu), samples);
        EXPECT_EQ(hasTitle(items, "Memory"), isElevatedLevel) << label(level);
        if (isElevatedLevel) {
            EXPECT_EQ(items.at(0),
                      (IncidentNarrativeItem{"Memory", "macOS memory pressure reached unavailable.",
                                             "memorychip"}));
        }
    }
    PerformanceIncident incident = bareIncident(IncidentKind::cpu);
    incident.worstMemoryPressureState = MemoryPressureLevel::critical;
    EXPECT_EQ(signalsOf(incident, {}),
              (Items{{"Memory", "macOS memory pressure reached critical.", "memorychip"}}));
}

TEST(OverlappingSignals, aThermalWordCountsInAnyCaseInTheRecordOrInASample) {
    struct Row {
        const char* word;
        bool counts;
    };
    for (const Row& row : {Row{"Critical", true}, Row{"cRITICAL", true}, Row{"Serious", true},
                           Row{"serious", true}, Row{"Fair", false}, Row{"Nominal", false},
                           Row{"Unknown", false}, Row{"", false}, Row{"serious ", false}}) {
        PerformanceIncident incident = bareIncident(IncidentKind::cpu);
        incident.worstThermalState = row.word;
        EXPECT_EQ(hasTitle(signalsOf(incident, {}), "Thermal"), row.counts) << row.word;

        Samples samples = samplesAfter({0, 10, 20});
        samples[1].thermalState = row.word;
        const Items items = signalsOf(bareIncident(IncidentKind::cpu), samples);
        EXPECT_EQ(hasTitle(items, "Thermal"), row.counts) << row.word;
        if (row.counts) {
            EXPECT_EQ(items.at(0).detail, "macOS thermal state reached nominal.");
        }
    }
    PerformanceIncident incident = bareIncident(IncidentKind::cpu);
    incident.worstThermalState = "SERIOUS";
    EXPECT_EQ(signalsOf(incident, {}),
              (Items{{"Thermal", "macOS thermal state reached serious.", "thermometer.high"}}));
}

TEST(OverlappingSignals, networkCountsFromAMillionBytesPerSecondOnInTheRecordAlone) {
    PerformanceIncident incident = bareIncident(IncidentKind::cpu);
    incident.peakNetworkBytesPerSecond = 999'999.99;
    Samples samples = samplesAfter({0});
    samples[0].downloadSpeed = 5e6;
    EXPECT_EQ(signalsOf(incident, samples), Items());
    incident.peakNetworkBytesPerSecond = 1'000'000;
    EXPECT_EQ(signalsOf(incident, samples),
              (Items{{"Network context", "Network activity peaked at 1.0 MB/s.", "network"}}));
}

TEST(OverlappingSignals, standInOneOrder) {
    PerformanceIncident incident = bareIncident(IncidentKind::combined);
    incident.peakCPU = 99;
    incident.worstMemoryPressureState = MemoryPressureLevel::warning;
    incident.worstThermalState = "Critical";
    incident.peakNetworkBytesPerSecond = 2.5e9;
    EXPECT_EQ(signalsOf(incident, {}),
              (Items{{"CPU", "System CPU peaked at 99%.", "cpu"},
                     {"Memory", "macOS memory pressure reached warning.", "memorychip"},
                     {"Thermal", "macOS thermal state reached critical.", "thermometer.high"},
                     {"Network context", "Network activity peaked at 2.5 GB/s.", "network"}}));
}

// What changed

TEST(IncidentChanges, withoutSamplesThereIsNoCPUItemAndTheOthersMovedFromUnavailable) {
    PerformanceIncident incident = bareIncident(IncidentKind::combined);
    incident.peakCPU = 99;
    incident.peakNetworkBytesPerSecond = 5e6;
    incident.worstMemoryPressureState = MemoryPressureLevel::critical;
    incident.worstThermalState = "Fair";
    EXPECT_EQ(
        changesOf(incident, {}),
        (Items{{"Memory changed", "macOS memory pressure moved from unavailable to critical.", "memorychip"},
               {"Thermal changed", "Thermal state moved from unavailable to fair.", "thermometer.medium"}}));
    incident.worstMemoryPressureState = MemoryPressureLevel::normal;
    incident.worstThermalState = "Nominal";
    EXPECT_EQ(changesOf(incident, {}), Items());
}

TEST(IncidentChanges, cpuNeedsSamplesOfTheIncident) {
    EXPECT_EQ(changesOf(bareIncident(IncidentKind::cpu), samplesAfter({-20, -10}, 40)), Items());
}

TEST(IncidentChanges, cpuWithoutABaselineTellsThePeak) {
    PerformanceIncident incident = bareIncident(IncidentKind::cpu);
    incident.peakCPU = 96.6;
    EXPECT_EQ(changesOf(incident, samplesAfter({0, 10}, 95)),
              (Items{{"CPU peak", "CPU peaked at 97%; no usable pre-incident baseline was available.",
                      "chart.line.uptrend.xyaxis"}}));
}

TEST(IncidentChanges, cpuComparesTheMeansOfBothStretches) {
    const auto change = [](std::initializer_list<double> before, std::initializer_list<double> during) {
        Samples samples;
        for (const double usage : before) samples.push_back(sampleAfter(-100, usage));
        for (const double usage : during) samples.push_back(sampleAfter(100, usage));
        return changesOf(bareIncident(IncidentKind::cpu), samples).at(0);
    };
    EXPECT_EQ(change({10, 20, 60}, {90, 100}), cpuChanged("30% to 95% (+65 points).", "arrow.up.right"));
    EXPECT_EQ(change({50}, {20}), cpuChanged("50% to 20% (-30 points).", "arrow.down.right"));
    EXPECT_EQ(change({50}, {50}), cpuChanged("50% to 50% (+0 points).", "arrow.up.right"));
    // The sign is that of the difference, also where it rounds to nothing.
    EXPECT_EQ(change({50.3}, {50}), cpuChanged("50% to 50% (-0 points).", "arrow.down.right"));
    EXPECT_EQ(change({50}, {50.3}), cpuChanged("50% to 50% (+0 points).", "arrow.up.right"));
    EXPECT_EQ(change({50}, {infinity}), cpuChanged("50% to inf% (+inf points).", "arrow.up.right"));
    EXPECT_EQ(change({50}, {notANumber}).systemImage, "arrow.down.right");
}

TEST(IncidentChanges, aBaselineOfTwoSamplesGivesCPUChangesButNoConfidence) {
    PerformanceIncident incident = endedIncident(IncidentKind::cpu, 100);
    incident.peakCPU = 90;
    incident.topCPUProcess = "compiler";
    // Two points for the signal, one for the process, one for the end, one for four samples.
    const Samples own = samplesAfter({0, 10, 20, 30}, 90);
    const auto two = build(incident, joined(samplesAfter({-20, -10}, 30), own), after(600));
    EXPECT_EQ(two.changes.at(0).title, "CPU changed");
    EXPECT_EQ(two.confidence, IncidentConfidence::moderate);
    const auto three = build(incident, joined(samplesAfter({-30, -20, -10}, 30), own), after(600));
    EXPECT_EQ(three.confidence, IncidentConfidence::strong);
}

TEST(IncidentChanges, memoryTellsAnElevatedLevelThatWasNotThereBefore) {
    using Level = MemoryPressureLevel;
    for (const Level before : allMemoryPressureLevels) {
        for (const Level during : allMemoryPressureLevels) {
            PerformanceIncident incident = bareIncident(IncidentKind::memory);
            incident.worstMemoryPressureState = during;
            Samples samples = samplesAfter({-30, -20, -10});
            for (IncidentTimelineSample& sample : samples) sample.memoryPressureState = Level::unavailable;
            samples[1].memoryPressureState = before;
            const Items items = changesOf(incident, samples);
            const bool isTold = (during == Level::warning || during == Level::critical) && during != before;
            EXPECT_EQ(hasTitle(items, "Memory changed"), isTold) << label(before) << " to " << label(during);
        }
    }
    PerformanceIncident incident = bareIncident(IncidentKind::memory);
    incident.worstMemoryPressureState = Level::warning;
    Samples samples = samplesAfter({-10});
    samples[0].memoryPressureState = Level::critical;
    // Also when it was worse before.
    EXPECT_EQ(
        changesOf(incident, samples),
        (Items{{"Memory changed", "macOS memory pressure moved from critical to warning.", "memorychip"}}));
}

TEST(IncidentChanges, theWorstLevelOfTheBaselineCounts) {
    using Level = MemoryPressureLevel;
    PerformanceIncident incident = bareIncident(IncidentKind::memory);
    incident.worstMemoryPressureState = Level::critical;
    Samples samples = samplesAfter({-40, -30, -20, -10});
    samples[0].memoryPressureState = Level::normal;
    samples[1].memoryPressureState = Level::warning;
    samples[2].memoryPressureState = Level::unavailable;
    EXPECT_EQ(changesOf(incident, samples).at(0).detail,
              "macOS memory pressure moved from warning to critical.");
}

TEST(IncidentChanges, thermalTellsARiseOfTheRank) {
    const std::vector<const char*> words = {"Nominal", "FAIR", "serious", "Critical"};
    for (std::size_t before = 0; before < words.size(); ++before) {
        for (std::size_t during = 0; during < words.size(); ++during) {
            PerformanceIncident incident = bareIncident(IncidentKind::thermal);
            incident.worstThermalState = words[during];
            Samples samples = samplesAfter({-20, -10});
            samples[0].thermalState = words[before];
            EXPECT_EQ(hasTitle(changesOf(incident, samples), "Thermal changed"), during > before)
                << words[before] << " to " << words[during];
        }
    }
}

TEST(IncidentChanges, thermalNamesTheWorstWordOfTheBaselineTheFirstOfEquals) {
    const auto wordBefore = [](std::initializer_list<const char*> words) {
        PerformanceIncident incident = bareIncident(IncidentKind::thermal);
        incident.worstThermalState = "CRITICAL";
        Samples samples;
        for (const char* word : words) {
            samples.push_back(sampleAfter(-10));
            samples.back().thermalState = word;
        }
        return changesOf(incident, samples).at(0);
    };
    const auto movedFrom = [](const std::string& word) {
        return IncidentNarrativeItem{"Thermal changed", "Thermal state moved from " + word + " to critical.",
                                     "thermometer.medium"};
    };
    EXPECT_EQ(wordBefore({"Unknown", "Nominal"}), movedFrom("unknown"));
    EXPECT_EQ(wordBefore({"Nominal", "Unknown"}), movedFrom("nominal"));
    EXPECT_EQ(wordBefore({"Nominal", "Fair", "SERIOUS", "Fair"}), movedFrom("serious"));
    EXPECT_EQ(wordBefore({""}), movedFrom(""));
}

TEST(IncidentChanges, networkNeedsAMillionAndTwiceTheMean) {
    struct Row {
        double mean;
        double peak;
        bool isTold;
    };
    for (const Row& row :
         {Row{0, 999'999.99, false}, Row{0, 1'000'000, true}, Row{500'000, 999'999.99, false},
          Row{500'000, 1'000'000, true}, Row{500'001, 1'000'000, false}, Row{500'001, 1'000'002, true},
          Row{3e6, 5'999'999.99, false}, Row{3e6, 6e6, true}, Row{-5, 1'000'000, true}}) {
        PerformanceIncident incident = bareIncident(IncidentKind::cpu);
        incident.peakNetworkBytesPerSecond = row.peak;
        Samples samples = samplesAfter({-20, -10});
        samples[0].downloadSpeed = row.mean;
        samples[1].uploadSpeed = row.mean;
        EXPECT_EQ(hasTitle(changesOf(incident, samples), "Network changed"), row.isTold)
            << row.mean << ", " << row.peak;
    }
}

TEST(IncidentChanges, networkTellsTheMeanOfBothDirectionsAndThePeak) {
    PerformanceIncident incident = bareIncident(IncidentKind::cpu);
    incident.peakNetworkBytesPerSecond = 12e6;
    Samples samples = samplesAfter({-20, -10});
    samples[0].downloadSpeed = 2000;
    samples[0].uploadSpeed = 1000;
    samples[1].downloadSpeed = 1000;
    samples[1].uploadSpeed = -1;
    EXPECT_EQ(changesOf(incident, samples),
              (Items{{"Network changed",
                      "Network throughput rose from an average of 2 KB/s to a peak of 12.0 MB/s.",
                      "arrow.up.arrow.down"}}));
}

TEST(IncidentChanges, networkNeedsABaseline) {
    PerformanceIncident incident = bareIncident(IncidentKind::cpu);
    incident.peakNetworkBytesPerSecond = 12e6;
    EXPECT_FALSE(hasTitle(changesOf(incident, samplesAfter({0})), "Network changed"));
}

TEST(IncidentChanges, aBatteryFallingBy1GivesNoItemAndBy2GivesOne) {
    const auto items = [](std::initializer_list<std::optional<std::int64_t>> charges) {
        Samples samples;
        for (const auto& charge : charges) {
            samples.push_back(sampleAfter(10));
            samples.back().batteryPercentage = charge;
        }
        Items all = changesOf(bareIncident(IncidentKind::cpu), samples);
        all.erase(all.begin());  // that of the CPU
        return all;
    };
    const auto changed = [](const std::string& words) {
        return Items{{"Battery context", "Battery " + words + " percentage points during the incident.",
                      "battery.50"}};
    };
    EXPECT_EQ(items({std::nullopt, std::nullopt}), Items());
    EXPECT_EQ(items({80}), Items());
    EXPECT_EQ(items({80, 79}), Items());
    EXPECT_EQ(items({80, 78}), changed("fell 2"));
    EXPECT_EQ(items({80, 81}), Items());
    EXPECT_EQ(items({80, 82}), changed("rose 2"));
    // The first and the last that are there, whatever lies between.
    EXPECT_EQ(items({std::nullopt, 50, 10, 99, std::nullopt, 44, std::nullopt}), changed("fell 6"));
    EXPECT_EQ(items({50, 10, 50}), Items());
    // Figures that no battery gives.
    constexpr auto least = std::numeric_limits<std::int64_t>::min();
    constexpr auto most = std::numeric_limits<std::int64_t>::max();
    EXPECT_EQ(items({least, most}), changed("rose 18446744073709551615"));
    EXPECT_EQ(items({most, least}), changed("fell 18446744073709551615"));
}

TEST(IncidentChanges, chargingPlaysNoPartInTheBatteryItem) {
    for (const std::optional<bool> isCharging : {std::optional<bool>(), {true}, {false}}) {
        Samples samples = samplesAfter({0, 10});
        for (IncidentTimelineSample& sample : samples) sample.isCharging = isCharging;
        samples[0].batteryPercentage = 50;
        samples[1].batteryPercentage = 40;
        EXPECT_TRUE(hasTitle(changesOf(bareIncident(IncidentKind::cpu), samples), "Battery context"));
    }
}

TEST(IncidentChanges, onlyTheBatteryDuringTheIncidentCounts) {
    Samples samples = samplesAfter({-10, 0, 10});
    samples[0].batteryPercentage = 90;
    samples[1].batteryPercentage = 50;
    samples[2].batteryPercentage = 50;
    EXPECT_FALSE(hasTitle(changesOf(bareIncident(IncidentKind::cpu), samples), "Battery context"));
}

TEST(IncidentChanges, standInOneOrder) {
    PerformanceIncident incident = bareIncident(IncidentKind::combined);
    incident.worstMemoryPressureState = MemoryPressureLevel::critical;
    incident.worstThermalState = "Serious";
    incident.peakNetworkBytesPerSecond = 2e6;
    Samples samples = joined(samplesAfter({-10}, 20), samplesAfter({0, 10}, 95));
    samples[1].batteryPercentage = 80;
    samples[2].batteryPercentage = 90;
    std::vector<std::string> titles;
    for (const auto& item : changesOf(incident, samples)) titles.push_back(item.title);
    EXPECT_EQ(titles, (std::vector<std::string>{"CPU changed", "Memory changed", "Thermal changed",
                                                "Network changed", "Battery context"}));
}

}  // namespace
}  // namespace corvanta
