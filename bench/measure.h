// Paired measurement: two ways of doing a thing in turn, so that the drift of a machine meets both.
#pragma once

#include <algorithm>
#include <chrono>
#include <vector>

namespace callhome::bench {

struct Sample {
    double ours;   // median seconds a repetition
    double floor;  // likewise
    double ratio;  // median of the ratios, pair by pair
};

inline double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// Seconds that one repetition of `work` takes, over `repetitions` of them.
template <typename Work>
double seconds_each(int repetitions, Work&& work) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < repetitions; ++i) {
        work();
    }
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    return taken.count() / repetitions;
}

// Runs `ours` and `floor` in turn, `pairs` times after one pair that is not counted.
template <typename Ours, typename Floor>
Sample compare(int pairs, int repetitions, Ours&& ours, Floor&& floor) {
    std::vector<double> ours_each;
    std::vector<double> floor_each;
    std::vector<double> ratios;
    for (int pair = 0; pair <= pairs; ++pair) {
        const double a = seconds_each(repetitions, ours);
        const double b = seconds_each(repetitions, floor);
        if (pair > 0) {
            ours_each.push_back(a);
            floor_each.push_back(b);
            ratios.push_back(a / b);
        }
    }
    return {median(ours_each), median(floor_each), median(ratios)};
}

}  // namespace callhome::bench
