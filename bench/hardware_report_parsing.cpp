// Parsing the administrator probe's report and smcDiagnose's output happens on the main
// thread while the interface waits; each realistic report should parse in well under
// 20 microseconds.

#include "hardware/FanHardwareCapabilities.h"

#include <benchmark/benchmark.h>
#include <string>

namespace {

const std::string kProbeReport =
    "fanCount=2\nminimumRPM=1200\nmaximumRPM=4200\ncurrentRPM=1450\n"
    "range=1200 RPM - 4200 RPM aggregate\n"
    "detail=Fan 0: 1300 RPM - 3700 RPM, 1450 RPM now Fan 1: 1200 RPM - 4200 RPM, 1380 RPM now\n"
    "source=AppleSMCKeysEndpoint read-only\nsupportStatus=supported\n"
    "fan0Name=Fan 0\nfan0MinimumRPM=1300\nfan0MaximumRPM=3700\nfan0CurrentRPM=1450\n"
    "fan0Source=AppleSMCKeysEndpoint read-only\n"
    "fan1Name=Fan 1\nfan1MinimumRPM=1200\nfan1MaximumRPM=4200\nfan1CurrentRPM=1380\n"
    "fan1Source=AppleSMCKeysEndpoint read-only\n"
    "smcService=AppleSMCKeysEndpoint\nsmcStructSize=80\n"
    "FNum: info=success result=0 type=ui8  size=1 read=success readResult=0 inputSize=80 "
    "bytes=[02]\n"
    "F0Mn: info=success result=0 type=fpe2 size=2 read=success readResult=0 inputSize=80 "
    "bytes=[14 50]\n"
    "F0Mx: info=success result=0 type=fpe2 size=2 read=success readResult=0 inputSize=80 "
    "bytes=[39 D0]\n"
    "F0Ac: info=success result=0 type=fpe2 size=2 read=success readResult=0 inputSize=80 "
    "bytes=[16 A8]\n"
    "F1Mn: info=success result=0 type=flt  size=4 read=success readResult=0 inputSize=80 "
    "bytes=[00 00 96 44]\n"
    "F1Mx: info=success result=0 type=flt  size=4 read=success readResult=0 inputSize=80 "
    "bytes=[00 40 83 45]\n"
    "F1Ac: info=success result=0 type=flt  size=4 read=success readResult=0 inputSize=80 "
    "bytes=[00 80 AC 44]\n"
    "smcFanControlKeyProbe=read-only\n"
    "smcFanControlKeyProbeDetail=inspects candidate fan control keys without writing\n";

std::string smcDiagnoseReport() {
    std::string report = "SMC diagnostic report\r\n";
    for (int i = 0; i < 60; ++i) {
        report += "T" + std::to_string(i) + "Cp, " + std::to_string(40 + i) + ".25 C\r\n";
    }
    report += "FNum, 1\r\nfRMN, 2317\r\nfRMX, 6550 rpm\r\nF0Ac, 2401.5\r\n";
    return report;
}

void probeOutput(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(windlark::FanHardwareCapabilities::fromProbeOutput(kProbeReport));
    }
}
BENCHMARK(probeOutput)->Repetitions(9)->ReportAggregatesOnly(true);

void smcDiagnoseOutput(benchmark::State& state) {
    const std::string report = smcDiagnoseReport();
    for (auto _ : state) {
        benchmark::DoNotOptimize(windlark::FanHardwareCapabilities::fromSMCDiagnoseOutput(report));
    }
}
BENCHMARK(smcDiagnoseOutput)->Repetitions(9)->ReportAggregatesOnly(true);

} // namespace

BENCHMARK_MAIN();
