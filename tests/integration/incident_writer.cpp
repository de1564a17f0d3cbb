// SPDX-License-Identifier: Apache-2.0
// The program that IncidentTest kills: incident_writer FILE
// It runs the detector on the store of that name, on a clock of its own that began five minutes ago and goes
// two seconds with each sample, under a full load. It says "open" once there is an incident, and then goes
// on, a sample every 10 milliseconds, until somebody kills it.
#include <chrono>
#include <cstdio>
#include <thread>

#include "core/Log.h"
#include "incidents/IncidentDetector.h"
#include "support/FakePlatform.h"

using namespace corvanta;

int main(int argc, char** argv) {
    if (argc != 2) return 1;
    setLogSink([](std::string_view) { std::_Exit(4); });  // a row that was lost is not what is tested
    test::FakePlatform machine;
    machine.clock.setNow(SystemClock().now() - std::chrono::minutes(5));
    const AppSettings settings(machine.defaults, machine.loginItem, machine.clock, machine.executor);
    DatabaseManager database(argv[1], machine.clock);
    IncidentDetector detector(database, settings);
    for (int sample = 0;; ++sample) {
        IncidentObservation observation;
        observation.timestamp = machine.clock.now();
        observation.systemUptime = machine.clock.systemUptime();
        observation.cpuUsage = 97;
        observation.thermalState = "Nominal";
        observation.topCPUProcess = "writer";
        observation.topCPUUsage = 100;
        detector.observe(observation);
        if (sample % 5 == 0) {
            SnapshotValues row;
            row.cpu = observation.cpuUsage;
            row.thermalState = observation.thermalState;
            row.topCPUProcess = observation.topCPUProcess;
            row.topCPUUsage = observation.topCPUUsage;
            row.timestamp = observation.timestamp;
            database.insertSnapshot(row);
            detector.recordPersistedObservation(observation);
        }
        machine.clock.advance(2);
        if (sample == 30 && !database.fetchIncidents().empty()) {
            std::puts("open");
            std::fflush(stdout);
        }
        if (sample >= 30) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}
