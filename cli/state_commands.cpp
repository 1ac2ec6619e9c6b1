// linnet state, linnet apply FILE, linnet commit, linnet rollback: the host's
// network as one desired state.
#include "commands.h"

#include "library_symbols.h"
#include "state/apply.h"
#include "state/host_state.h"
#include "state/state_document.h"
#include "state/text_diff.h"

#include <fstream>
#include <iostream>
#include <sstream>

namespace cli {

namespace {

using namespace cli::state;

constexpr int kInvalidStateExit = 2;

struct ApplyArguments {
    std::string file;
    ApplyOptions options;
};

std::string ipv6_text(NetworkAdapter& adapter)
{
    const char* text = adapter.GetErrStr(status::kIpv6Unsupported);
    return text != nullptr ? text : "IPv6";
}

// The state file's text; "-" is standard input.
bool read_state_file(const std::string& path, std::string& text)
{
    std::ostringstream bytes;
    if (path == "-") {
        bytes << std::cin.rdbuf();
    } else {
        std::ifstream in(path, std::ios::binary);
        if (!in)
            return false;
        bytes << in.rdbuf();
    }
    text = bytes.str();
    return true;
}

void print_plan(const std::vector<Step>& plan)
{
    std::cout << "plan (" << plan.size() << (plan.size() == 1 ? " step):\n" : " steps):\n");
    for (size_t i = 0; i < plan.size(); ++i)
        std::cout << "  " << i + 1 << ". " << plan[i].text() << '\n';
    std::cout.flush();
}

void print_progress(size_t number, size_t count, const Step& step)
{
    std::cerr << "linnet: [" << number << "/" << count << "] " << step.text() << '\n';
}

int show_state(NetworkAdapter& adapter, const Output& output)
{
    int status = 0;
    const HostState state = read_host_state(adapter, status);
    if (status != 0)
        return output.failure(status);
    std::cout << (output.json ? state_json(state).dump(2) + "\n" : emit_state(state));
    return 0;
}

int exit_status_of(const ApplyReport& report)
{
    if (report.outcome == Outcome::kInvalid)
        return kInvalidStateExit;
    if (report.error.empty())
        return 0;
    return report.status != 0 ? exit_status_for(report.status) : 1;
}

nlohmann::json report_json(const ApplyReport& report, const ApplyOptions& options)
{
    nlohmann::json plan = nlohmann::json::array(), files = nlohmann::json::array();
    for (const Step& step : report.plan)
        plan.push_back(step.text());
    for (const FileChange& change : report.files)
        files.push_back({{"path", change.path}, {"before", change.before}, {"after", change.after}});
    const bool failed = !report.error.empty();
    const bool incomplete = !report.rollbackProblems.empty();
    nlohmann::json document = {{"changed", report.outcome == Outcome::kApplied || report.outcome == Outcome::kPlanned},
                               {"dry_run", options.dryRun},
                               {"result", incomplete ? "rollback incomplete" : outcome_text(report.outcome)},
                               {"plan", plan},
                               {"diff", files},
                               {"status", exit_status_of(report)}};
    if (failed)
        document["error"] = report.error;
    if (!report.failedStep.empty())
        document["failed_step"] = report.failedStep;
    if (!report.rollbackProblems.empty())
        document["rollback_problems"] = report.rollbackProblems;
    if (report.commitDeadline != 0)
        document["commit_deadline"] = report.commitDeadline;
    if (!report.preview.empty())
        document["preview"] = report.preview;
    return document;
}

void print_report(const ApplyReport& report, const ApplyOptions& options)
{
    // An apply that ran printed its plan before its first step.
    if (report.outcome == Outcome::kPlanned)
        print_plan(report.plan);
    for (const FileChange& change : report.files)
        std::cout << unified_diff(change.path, change.before, change.after);
    switch (report.outcome) {
    case Outcome::kUnchanged:
        std::cout << "nothing to change: the host already matches the state\n";
        break;
    case Outcome::kPlanned:
        if (report.preview != "complete")
            std::cerr << "linnet: preview " << report.preview << '\n';
        std::cout << "dry run: nothing was changed\n";
        break;
    case Outcome::kApplied:
        std::cout << "applied and verified: the host matches the state\n";
        if (options.noCommit)
            std::cout << "not committed: run linnet commit within " << options.timeout
                      << " seconds, or the change is rolled back\n";
        break;
    default:
        std::cerr << "linnet: " << report.error << '\n';
        if (report.outcome == Outcome::kRolledBack && report.rollbackProblems.empty())
            std::cerr << "linnet: rolled back: the files and the run-time state are as they were\n";
        for (const std::string& problem : report.rollbackProblems)
            std::cerr << "linnet: rollback incomplete: " << problem << '\n';
    }
}

int apply_file(NetworkAdapter& adapter, const Output& output, const ApplyArguments& arguments)
{
    ApplyReport report;
    std::string text;
    if (!read_state_file(arguments.file, text)) {
        report.error = arguments.file + ": cannot be read";
    } else {
        try {
            const HostState desired =
                parse_state(text, arguments.file == "-" ? "<stdin>" : arguments.file, ipv6_text(adapter));
            Progress progress{output.json ? nullptr : print_plan, print_progress};
            report = apply_state(adapter, desired, arguments.options, progress);
        } catch (const InvalidState& error) {
            report.error = error.what();
        }
    }
    if (output.json)
        std::cout
            << report_json(report, arguments.options).dump(2, ' ', false, nlohmann::json::error_handler_t::replace)
            << '\n';
    else
        print_report(report, arguments.options);
    return exit_status_of(report);
}

int settle(NetworkAdapter& adapter, const Output& output, CheckpointAction action)
{
    const CheckpointReport report = settle_checkpoint(adapter, action, "");
    const char* done = action == CheckpointAction::kCommit ? "committed" : "rolled back";
    std::string error = report.found ? "" : "no uncommitted change";
    for (const std::string& problem : report.problems)
        error += (error.empty() ? "rollback incomplete: " : "; ") + problem;
    if (output.json) {
        nlohmann::json document = {{"result", report.found ? done : "none"}, {"status", error.empty() ? 0 : 1}};
        if (!error.empty())
            document["error"] = error;
        std::cout << document.dump(2) << '\n';
    } else if (error.empty()) {
        std::cout << done << '\n';
    } else {
        std::cerr << "linnet: " << error << '\n';
    }
    return error.empty() ? 0 : 1;
}

} // namespace

void add_state_commands(CLI::App& app, NetworkAdapter& adapter, Output& output, int& exitStatus)
{
    static ApplyArguments arguments;
    CLI::App* state = app.add_subcommand("state", "Print the host's network state as a YAML state document");
    state->callback([&] { exitStatus = show_state(adapter, output); });

    CLI::App* apply = app.add_subcommand(
        "apply", "Take the host to a desired state (YAML or JSON): plan, apply, verify, roll back on failure");
    apply->add_option("FILE", arguments.file, "The state document; - reads standard input")->required();
    apply->add_flag("--dry-run", arguments.options.dryRun, "Print the plan and change nothing");
    CLI::Option* noCommit =
        apply->add_flag("--no-commit", arguments.options.noCommit, "Keep the change only if linnet commit follows");
    apply->add_option("--timeout", arguments.options.timeout, "Seconds to wait for linnet commit (default 60)")
        ->needs(noCommit)
        ->check(CLI::Range(1u, 86400u));
    apply->callback([&] {
        if (arguments.options.noCommit && arguments.options.timeout == 0)
            arguments.options.timeout = 60;
        exitStatus = apply_file(adapter, output, arguments);
    });

    CLI::App* commit = app.add_subcommand("commit", "Keep the change of linnet apply --no-commit");
    commit->callback([&] { exitStatus = settle(adapter, output, CheckpointAction::kCommit); });
    CLI::App* rollback = app.add_subcommand("rollback", "Undo the change of linnet apply --no-commit now");
    rollback->callback([&] { exitStatus = settle(adapter, output, CheckpointAction::kRollback); });
}

} // namespace cli
