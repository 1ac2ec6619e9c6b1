#include "apply.h"

#include "checkpoint.h"
#include "host_state.h"
#include "preview.h"
#include "restore.h"
#include "state_document.h"
#include "steps.h"
#include "watchdog.h"

#include "../library_symbols.h"

#include <cstdlib>
#include <optional>

namespace cli::state {

namespace {

std::string joined(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines)
        text += (text.empty() ? "" : "; ") + line;
    return text;
}

std::string any_adapter(const HostState& state)
{
    return state.interfaces.empty() ? "" : state.interfaces.front().libraryName;
}

// The step LINNET_FAIL_AT_STEP names (from 1) fails as if the library had
// refused it: a rehearsal of the rollback. 0 when unset.
size_t rehearsed_failure()
{
    const char* text = getenv("LINNET_FAIL_AT_STEP");
    return text != nullptr ? strtoul(text, nullptr, 10) : 0;
}

// Runs the steps in order; the index of the one that failed, or steps.size().
size_t run_steps(NetworkAdapter& adapter, const std::vector<Step>& steps, const std::string& anyAdapter,
                 const Progress& progress, int& status)
{
    const size_t failing = rehearsed_failure();
    for (size_t i = 0; i < steps.size(); ++i) {
        if (progress.starting)
            progress.starting(i + 1, steps.size(), steps[i]);
        status = i + 1 == failing ? status::kFailure : run_step(adapter, steps[i], anyAdapter);
        if (status != 0)
            return i;
    }
    return steps.size();
}

std::string status_line(NetworkAdapter& adapter, int status)
{
    const char* text = adapter.GetErrStr(status);
    return (text != nullptr ? std::string(text) : "failed") + " (status " + std::to_string(status) + ")";
}

// The files the plan would change, from a sandbox, and how far the sandbox got.
void add_preview(NetworkAdapter& adapter, const HostState& current, ApplyReport& report)
{
    const PreviewResult preview =
        preview_plan(adapter, current, report.plan, any_adapter(current), rehearsed_failure());
    if (!preview.available) {
        report.preview = "unavailable: " + preview.unavailable;
        return;
    }
    report.files = preview.files;
    report.preview = "complete";
    if (preview.failedStep) {
        const size_t failed = *preview.failedStep;
        report.failedStep = report.plan[failed].text();
        report.preview = "stopped at step " + std::to_string(failed + 1) + " (" + report.failedStep
                         + "): " + status_line(adapter, preview.status);
    }
}

void fail_and_roll_back(NetworkAdapter& adapter, ApplyReport& report, const HostState& original,
                        const std::vector<SavedFile>& files)
{
    report.outcome = Outcome::kRolledBack;
    report.rollbackProblems = roll_back(adapter, original, files);
    report.files = changed_files(files, save_files());
}

} // namespace

std::vector<std::string> roll_back(NetworkAdapter& adapter, const HostState& original,
                                   const std::vector<SavedFile>& files)
{
    std::vector<std::string> problems = restore_runtime(adapter, original);
    for (const std::string& path : restore_files(files))
        problems.push_back(path + ": could not be restored");
    int status = 0;
    const std::vector<std::string> left = runtime_differences(read_host_state(adapter, status), original);
    problems.insert(problems.end(), left.begin(), left.end());
    return problems;
}

ApplyReport apply_state(NetworkAdapter& adapter, const HostState& desired, const ApplyOptions& options,
                        const Progress& progress)
{
    ApplyReport report;
    // A dry run changes nothing, not even the lock file under /run.
    std::optional<CheckpointLock> lock;
    if (!options.dryRun)
        lock.emplace();
    int status = 0;
    const HostState current = read_host_state(adapter, status);
    if (status != 0) {
        report.outcome = Outcome::kRefused;
        report.status = status;
        report.error = "reading the host: " + status_line(adapter, status);
        return report;
    }
    try {
        report.plan = make_plan(current, desired);
    } catch (const InvalidState& error) {
        report.error = error.what();
        return report;
    }
    if (report.plan.empty() || options.dryRun) {
        report.outcome = report.plan.empty() ? Outcome::kUnchanged : Outcome::kPlanned;
        if (!report.plan.empty())
            add_preview(adapter, current, report);
        return report;
    }
    // A change on top of an uncommitted one could not be rolled back alone.
    if (checkpoint_exists()) {
        report.outcome = Outcome::kRefused;
        report.error = "an uncommitted change is pending: run linnet commit or linnet rollback first";
        return report;
    }

    const std::vector<SavedFile> files = save_files();
    Checkpoint checkpoint{new_token(), time(nullptr) + static_cast<time_t>(options.timeout),
                          emit_state(current, Detail::kHost), files};
    if (options.noCommit && !save_checkpoint(checkpoint)) {
        report.outcome = Outcome::kRefused;
        report.error = "could not write the checkpoint under /run/linnet";
        return report;
    }
    if (progress.planned)
        progress.planned(report.plan);
    const size_t failed = run_steps(adapter, report.plan, any_adapter(current), progress, report.status);
    if (failed < report.plan.size()) {
        report.failedStep = report.plan[failed].text();
        report.error = "step " + std::to_string(failed + 1) + " (" + report.failedStep
                       + ") failed: " + status_line(adapter, report.status);
    } else {
        const std::vector<std::string> left = mismatches(read_host_state(adapter, status), desired);
        if (!left.empty())
            report.error = "verification failed: " + joined(left);
    }
    if (!report.error.empty()) {
        fail_and_roll_back(adapter, report, current, files);
        if (options.noCommit)
            remove_checkpoint();
        return report;
    }
    report.outcome = Outcome::kApplied;
    report.files = changed_files(files, save_files());
    if (options.noCommit) {
        report.commitDeadline = checkpoint.deadline;
        start_watchdog(checkpoint.token, checkpoint.deadline);
    }
    return report;
}

CheckpointReport settle_checkpoint(NetworkAdapter& adapter, CheckpointAction action, const std::string& token)
{
    CheckpointReport report;
    CheckpointLock lock;
    const std::optional<Checkpoint> checkpoint = checkpoint_exists() ? load_checkpoint() : std::nullopt;
    if (!checkpoint || (!token.empty() && checkpoint->token != token))
        return report;
    report.found = true;
    if (action == CheckpointAction::kRollback) {
        try {
            const HostState original = parse_state(checkpoint->originalState, "checkpoint", "", Detail::kHost);
            report.problems = roll_back(adapter, original, checkpoint->files);
        } catch (const InvalidState& error) {
            report.problems.push_back(error.what());
        }
    }
    remove_checkpoint();
    return report;
}

const char* outcome_text(Outcome outcome)
{
    switch (outcome) {
    case Outcome::kUnchanged:
        return "unchanged";
    case Outcome::kPlanned:
        return "planned";
    case Outcome::kApplied:
        return "applied";
    case Outcome::kRolledBack:
        return "rolled back";
    case Outcome::kRefused:
        return "refused";
    case Outcome::kInvalid:
        break;
    }
    return "invalid";
}

} // namespace cli::state
