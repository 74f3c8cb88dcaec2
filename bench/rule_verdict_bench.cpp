// SPDX-License-Identifier: Apache-2.0
// bench/rule_verdict_bench.cpp - judging one rule, and a thousand rules for one report of a sensor.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <ctime>
#include <string>
#include <vector>

#include "actruleverdict.h"

namespace {

constexpr std::time_t MONDAY_NOON = 1795435200; // 2026-11-23 12:00 UTC
constexpr int CAMERA_COUNT = 64;

/// A zone whose clocks change, as a box has.
void SetZone()
{
    ::setenv("TZ", "Europe/Berlin", 1);
    ::tzset();
}

ActionRule MakeRule(int i)
{
    ActionRule rule;
    ActionRuleEvent event;
    event.SetEvtId(RULE_EVENT_DIGITAL_INPUT);
    event.SetEvtDevId(1 + i % CAMERA_COUNT);
    event.SetEvtItem(1);
    rule.SetEvtList({event});
    rule.SetEvtMinInterval(10);
    static_cast<void>(rule.SetActiveSche("mon-fri 08:00-18:00; sat 10:00-14:00")); // a text that is right
    return rule;
}

CameraStates MakeCameras()
{
    CameraStates cameras;
    for (int id = 1; id <= CAMERA_COUNT; ++id) {
        cameras[id].InitDIStatus(4, true);
    }
    return cameras;
}

void BM_RuleVerdict_Floor(benchmark::State& state)
{
    SetZone();
    std::time_t instant = MONDAY_NOON;
    for (auto _ : state) {
        tm local{};
        ::localtime_r(&instant, &local);
        benchmark::DoNotOptimize(local);
        ++instant;
    }
}

void BM_RuleVerdict_Ours(benchmark::State& state)
{
    SetZone();
    CameraStates cameras = MakeCameras();
    cameras[1].SetDIStatus(1, {true, 1, 0});
    const ActionRule rule = MakeRule(0);
    std::time_t instant = MONDAY_NOON;
    for (auto _ : state) {
        benchmark::DoNotOptimize(JudgeRule(rule, cameras, instant));
        ++instant;
    }
}
BENCHMARK(BM_RuleVerdict_Floor);
BENCHMARK(BM_RuleVerdict_Ours);

/// The argument is the number of rules. Each report comes a second later and turns an input over.
void BM_RuleJudgeAll_Ours(benchmark::State& state)
{
    SetZone();
    CameraStates cameras = MakeCameras();
    std::vector<ActionRule> rules;
    for (int i = 0; i < state.range(0); ++i) {
        rules.push_back(MakeRule(i));
    }
    std::uint32_t second = 0;
    for (auto _ : state) {
        ++second;
        cameras[1].SetDIStatus(1, {second % 2 != 0, second, 0});
        for (const ActionRule& rule : rules) {
            benchmark::DoNotOptimize(
                JudgeRule(rule, cameras, MONDAY_NOON + static_cast<std::time_t>(second % 3600)));
        }
    }
}
BENCHMARK(BM_RuleJudgeAll_Ours)->Arg(1000);

} // namespace
