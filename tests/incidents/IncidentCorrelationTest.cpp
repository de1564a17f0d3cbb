// SPDX-License-Identifier: Apache-2.0
#include "incidents/rules/IncidentCorrelation.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "core/NumberText.h"
#include "incidents/IncidentSamples.h"

namespace corvanta {
namespace {

using namespace IncidentCorrelation;
using test::bareIncident;

using Name = std::optional<std::string>;

PerformanceIncident incidentWith(IncidentKind kind, Name cpuProcess, Name ramProcess) {
    PerformanceIncident incident = bareIncident(kind);
    incident.topCPUProcess = std::move(cpuProcess);
    incident.topRAMProcess = std::move(ramProcess);
    return incident;
}

struct OrderRow {
    IncidentKind kind;
    MemoryPressureLevel level;
    double peakCPU;
    const char* preferred;
};

std::vector<OrderRow> orderRows() {
    using enum IncidentKind;
    using Level = MemoryPressureLevel;
    const double beforeCritical = std::nextafter(106.25, 0);
    const double beforeFull = std::nextafter(85.0, 0);
    const double notANumber = std::nan("");
    const double infinity = std::numeric_limits<double>::infinity();
    return {
        {cpu, Level::normal, 90, "cpu"},
        {cpu, Level::critical, 0, "cpu"},
        {thermal, Level::normal, 90, "cpu"},
        {thermal, Level::critical, 0, "cpu"},
        {memory, Level::critical, 100, "ram"},
        {memory, Level::unavailable, 1000, "ram"},
        // critical memory, on both sides of 1.25 times 85
        {combined, Level::critical, 0, "ram"},
        {combined, Level::critical, 85, "ram"},
        {combined, Level::critical, 100, "ram"},
        {combined, Level::critical, beforeCritical, "ram"},
        {combined, Level::critical, 106.25, "cpu"},
        {combined, Level::critical, infinity, "cpu"},
        {combined, Level::critical, notANumber, "cpu"},
        // any other level, on both sides of 85
        {combined, Level::warning, beforeFull, "ram"},
        {combined, Level::warning, 84.99, "ram"},
        {combined, Level::warning, 85, "cpu"},
        {combined, Level::warning, 100, "cpu"},
        {combined, Level::normal, 84.99, "ram"},
        {combined, Level::normal, 85, "cpu"},
        {combined, Level::unavailable, 84.99, "ram"},
        {combined, Level::unavailable, 85, "cpu"},
        {combined, Level::unavailable, -1, "ram"},
        {combined, Level::warning, notANumber, "ram"},
    };
}

TEST(LikelyContributor, kindLevelAndPeakSayWhichProcessGoesFirst) {
    for (const OrderRow& row : orderRows()) {
        PerformanceIncident incident = incidentWith(row.kind, "cpu", "ram");
        incident.worstMemoryPressureState = row.level;
        incident.peakCPU = row.peakCPU;
        EXPECT_EQ(likelyContributor(incident), row.preferred)
            << rawValue(row.kind) << ", " << label(row.level) << ", " << row.peakCPU;
    }
}

TEST(LikelyContributor, theOtherProcessStandsInForAMissingName) {
    for (const IncidentKind kind : allIncidentKinds) {
        for (const Name& none : {Name(), Name(""), Name("   "), Name("\t\r\n"), Name("\u00a0\u2003\u2028")}) {
            EXPECT_EQ(likelyContributor(incidentWith(kind, "cpu", none)), "cpu") << rawValue(kind);
            EXPECT_EQ(likelyContributor(incidentWith(kind, none, "ram")), "ram") << rawValue(kind);
            EXPECT_EQ(likelyContributor(incidentWith(kind, none, none)), std::nullopt) << rawValue(kind);
        }
    }
}

TEST(LikelyContributor, aNameOfOnlySpacesGivesWayToARealMemoryProcessWhateverTheKind) {
    for (const IncidentKind kind : allIncidentKinds) {
        for (const double peakCPU : {0.0, 85.0, 200.0}) {
            PerformanceIncident incident = incidentWith(kind, "    ", "database");
            incident.peakCPU = peakCPU;
            EXPECT_EQ(likelyContributor(incident), "database") << rawValue(kind) << " at " << peakCPU;
        }
    }
}

TEST(LikelyContributor, namesAreTrimmedAtTheirEndsOnly) {
    EXPECT_EQ(likelyContributor(incidentWith(IncidentKind::cpu, " \n Web  Content\t\n", {})), "Web  Content");
}

TEST(LikelyContributor, combinedWithCriticalMemoryAndAPeakOf100NamesTheMemoryProcessFirst) {
    PerformanceIncident incident = incidentWith(IncidentKind::combined, "cpu", "ram");
    incident.worstMemoryPressureState = MemoryPressureLevel::critical;
    incident.peakCPU = 100;
    EXPECT_EQ(likelyContributor(incident), "ram");
}

TEST(LikelyContributor, combinedWithWarningMemoryAndAPeakOfExactly85NamesTheCPUProcessFirst) {
    PerformanceIncident incident = incidentWith(IncidentKind::combined, "cpu", "ram");
    incident.worstMemoryPressureState = MemoryPressureLevel::warning;
    incident.peakCPU = 85;
    EXPECT_EQ(likelyContributor(incident), "cpu");
}

TEST(IncidentSummary, hasOneSentenceForEachKind) {
    PerformanceIncident incident = bareIncident(IncidentKind::cpu);
    incident.peakCPU = 97.5;
    incident.peakMemoryPressure = 81.6;
    incident.worstMemoryPressureState = MemoryPressureLevel::critical;
    incident.worstThermalState = "SERIOUS";
    EXPECT_EQ(summary(incident), "CPU remained elevated and peaked at 98%.");
    incident.kind = IncidentKind::memory;
    EXPECT_EQ(
        summary(incident),
        "macOS reported critical memory pressure. Corvanta' supporting counter estimate peaked at 82%.");
    incident.kind = IncidentKind::thermal;
    EXPECT_EQ(summary(incident), "macOS reported serious thermal pressure during this period.");
    incident.kind = IncidentKind::combined;
    EXPECT_EQ(
        summary(incident),
        "Multiple pressure signals overlapped. CPU peaked at 98%, macOS memory pressure reached critical, "
        "and the worst macOS thermal state was serious.");
}

TEST(IncidentSummary, namesEveryLevelInLowerCase) {
    PerformanceIncident incident = bareIncident(IncidentKind::memory);
    for (const MemoryPressureLevel level : allMemoryPressureLevels) {
        incident.worstMemoryPressureState = level;
        const char* word = level == MemoryPressureLevel::unavailable ? "unavailable"
                           : level == MemoryPressureLevel::normal    ? "normal"
                           : level == MemoryPressureLevel::warning   ? "warning"
                                                                     : "critical";
        EXPECT_EQ(summary(incident),
                  std::string("macOS reported ") + word +
                      " memory pressure. Corvanta' supporting counter estimate peaked at 0%.");
    }
}

TEST(IncidentSummary, namesTheContributorInASecondSentence) {
    PerformanceIncident incident = incidentWith(IncidentKind::cpu, " compiler ", "database");
    incident.peakCPU = 90;
    EXPECT_EQ(summary(incident),
              "CPU remained elevated and peaked at 90%. The most prominent process observed was compiler.");
}

TEST(IncidentSummary, aMemoryIncidentWithoutNamesHasNoSecondSentence) {
    PerformanceIncident incident = incidentWith(IncidentKind::memory, {}, {});
    incident.worstMemoryPressureState = MemoryPressureLevel::warning;
    incident.peakMemoryPressure = 66;
    EXPECT_EQ(summary(incident),
              "macOS reported warning memory pressure. Corvanta' supporting counter estimate peaked at 66%.");
    EXPECT_EQ(evidenceDescription(incident), std::nullopt);
}

TEST(EvidenceDescription, givesTheMemoryOfTheContributor) {
    PerformanceIncident incident = incidentWith(IncidentKind::memory, "compiler", "database");
    incident.topRAMBytes = 1536;
    EXPECT_EQ(evidenceDescription(incident), "database reached 2 KB resident memory.");
    incident.topRAMBytes = 1;
    EXPECT_EQ(evidenceDescription(incident), "database reached 1 byte resident memory.");
    incident.topRAMBytes = 8'589'934'592;
    EXPECT_EQ(evidenceDescription(incident), "database reached 8 GB resident memory.");
    incident.topRAMBytes = 1'610'612'736;
    EXPECT_EQ(evidenceDescription(incident), "database reached 1.5 GB resident memory.");
}

TEST(EvidenceDescription, holdsTheBytesInsideASignedNumber) {
    PerformanceIncident incident = incidentWith(IncidentKind::memory, {}, "database");
    incident.topRAMBytes = std::numeric_limits<std::int64_t>::max();
    const auto most = evidenceDescription(incident);
    EXPECT_EQ(most, "database reached 8,192 PB resident memory.");
    incident.topRAMBytes = std::numeric_limits<std::uint64_t>::max();
    EXPECT_EQ(evidenceDescription(incident), most);
}

TEST(EvidenceDescription, givesTheCPUOfTheContributorWithOneDecimal) {
    PerformanceIncident incident = incidentWith(IncidentKind::cpu, "compiler", "database");
    incident.topCPUUsage = 180.25;  // the half goes to even
    incident.topRAMBytes = 4096;
    EXPECT_EQ(evidenceDescription(incident), "compiler reached 180.2% process CPU.");
    incident.topCPUUsage = 0;
    EXPECT_EQ(evidenceDescription(incident), "compiler reached 0.0% process CPU.");
}

TEST(EvidenceDescription, aProcessThatIsBothIsDescribedByItsMemoryIfThereIsAny) {
    PerformanceIncident incident = incidentWith(IncidentKind::cpu, "browser", "browser");
    incident.topCPUUsage = 99;
    incident.topRAMBytes = 2048;
    EXPECT_EQ(evidenceDescription(incident), "browser reached 2 KB resident memory.");
    incident.topRAMBytes = 0;
    EXPECT_EQ(evidenceDescription(incident), "browser reached 99.0% process CPU.");
}

TEST(EvidenceDescription, aMemoryProcessWithoutBytesGivesNothing) {
    PerformanceIncident incident = incidentWith(IncidentKind::memory, "compiler", "database");
    incident.topCPUUsage = 99;
    EXPECT_EQ(evidenceDescription(incident), std::nullopt);
}

TEST(EvidenceDescription, aStoredNameWithATrailingSpaceMatchesNothing) {
    PerformanceIncident incident = incidentWith(IncidentKind::cpu, "compiler ", {});
    incident.topCPUUsage = 99;
    EXPECT_EQ(likelyContributor(incident), "compiler");
    EXPECT_EQ(evidenceDescription(incident), std::nullopt);
    incident.kind = IncidentKind::memory;
    incident.topRAMProcess = " database";
    incident.topRAMBytes = 2048;
    EXPECT_EQ(likelyContributor(incident), "database");
    EXPECT_EQ(evidenceDescription(incident), std::nullopt);
}

TEST(EvidenceDescription, theOtherFigureServesIfItBelongsToTheSameName) {
    // The contributor is the CPU process; only the memory process bears exactly that name.
    PerformanceIncident incident = incidentWith(IncidentKind::cpu, "browser ", "browser");
    incident.topCPUUsage = 99;
    incident.topRAMBytes = 2048;
    EXPECT_EQ(evidenceDescription(incident), "browser reached 2 KB resident memory.");
}

TEST(EvidenceDescription, theUsersOwnNumberSignsHoldForBytesOnly) {
    PerformanceIncident incident = incidentWith(IncidentKind::memory, "compiler", "database");
    incident.topRAMBytes = 1'610'612'736;
    setUserNumberSymbols({",", "."});
    EXPECT_EQ(evidenceDescription(incident), "database reached 1,5 GB resident memory.");
    incident.kind = IncidentKind::cpu;
    incident.topCPUUsage = 1234.5;
    EXPECT_EQ(evidenceDescription(incident), "compiler reached 1234.5% process CPU.");
    setUserNumberSymbols({});
}

}  // namespace
}  // namespace corvanta
