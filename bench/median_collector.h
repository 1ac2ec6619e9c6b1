// The console reporter of the benchmarks, keeping the median of each
// benchmark as it is reported, so that main can print the ratios.
#ifndef LINNET_BENCH_MEDIAN_COLLECTOR_H
#define LINNET_BENCH_MEDIAN_COLLECTOR_H

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

class MedianCollector : public benchmark::ConsoleReporter {
public:
    std::map<std::string, double> medians;

    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (run.aggregate_name == "median")
                medians[run.run_name.function_name] = run.GetAdjustedRealTime();
        }
        ConsoleReporter::ReportRuns(runs);
    }
};

#endif
