#include "checkpoint.h"

#include <nlohmann/json.hpp>

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <random>
#include <sstream>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace cli::state {

namespace {

constexpr const char* kRunDirectory = "/run/linnet";
constexpr const char* kLockPath = "/run/linnet/lock";
constexpr const char* kCheckpoint = "/run/linnet/checkpoint";
constexpr const char* kNewCheckpoint = "/run/linnet/checkpoint.new";
constexpr const char* kOldCheckpoint = "/run/linnet/checkpoint.old";

std::string hex(const std::string& bytes)
{
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (unsigned char byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

std::string unhex(const std::string& text)
{
    std::string bytes;
    for (size_t i = 0; i + 1 < text.size(); i += 2)
        bytes += static_cast<char>(std::stoi(text.substr(i, 2), nullptr, 16));
    return bytes;
}

bool write_whole(const std::string& path, const std::string& bytes)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << bytes;
    out.flush();
    return static_cast<bool>(out);
}

std::string read_whole(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

void remove_tree(const std::string& path)
{
    if (DIR* listing = opendir(path.c_str())) {
        while (const dirent* entry = readdir(listing)) {
            const std::string name = entry->d_name;
            if (name != "." && name != "..")
                unlink(std::string(path).append("/").append(name).c_str());
        }
        closedir(listing);
    }
    rmdir(path.c_str());
}

nlohmann::json index_of(const Checkpoint& checkpoint)
{
    nlohmann::json files = nlohmann::json::array();
    for (const SavedFile& file : checkpoint.files) {
        nlohmann::json attributes = nlohmann::json::array();
        for (const auto& [name, value] : file.attributes)
            attributes.push_back({name, hex(value)});
        files.push_back({{"path", file.path},
                         {"mode", file.mode},
                         {"owner", file.owner},
                         {"group", file.group},
                         {"attributes", attributes}});
    }
    return {{"token", checkpoint.token}, {"deadline", checkpoint.deadline}, {"files", files}};
}

} // namespace

CheckpointLock::CheckpointLock()
{
    mkdir(kRunDirectory, 0700);
    fd_ = open(kLockPath, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd_ >= 0 && flock(fd_, LOCK_EX) != 0) {
        close(fd_);
        fd_ = -1;
    }
}

CheckpointLock::~CheckpointLock()
{
    if (fd_ >= 0)
        close(fd_);
}

bool checkpoint_exists()
{
    struct stat status {};
    return stat(kCheckpoint, &status) == 0;
}

bool save_checkpoint(const Checkpoint& checkpoint)
{
    mkdir(kRunDirectory, 0700);
    remove_tree(kNewCheckpoint);
    if (mkdir(kNewCheckpoint, 0700) != 0)
        return false;
    const std::string directory = kNewCheckpoint;
    bool written = write_whole(directory + "/original.yaml", checkpoint.originalState);
    for (size_t i = 0; i < checkpoint.files.size(); ++i)
        written = written && write_whole(directory + "/" + std::to_string(i), checkpoint.files[i].bytes);
    written = written && write_whole(directory + "/index.json", index_of(checkpoint).dump());
    if (!written || rename(kNewCheckpoint, kCheckpoint) != 0) {
        remove_tree(kNewCheckpoint);
        return false;
    }
    return true;
}

std::optional<Checkpoint> load_checkpoint()
{
    const std::string directory = kCheckpoint;
    const nlohmann::json index = nlohmann::json::parse(read_whole(directory + "/index.json"), nullptr, false);
    if (index.is_discarded() || !index.is_object())
        return std::nullopt;
    Checkpoint checkpoint;
    checkpoint.token = index.value("token", "");
    checkpoint.deadline = index.value("deadline", time_t{0});
    checkpoint.originalState = read_whole(directory + "/original.yaml");
    size_t blob = 0;
    for (const nlohmann::json& entry : index.value("files", nlohmann::json::array())) {
        SavedFile file{entry.value("path", ""),        read_whole(directory + "/" + std::to_string(blob++)),
                       entry.value("mode", mode_t{0}), entry.value("owner", uid_t{0}),
                       entry.value("group", gid_t{0}), {}};
        for (const nlohmann::json& attribute : entry.value("attributes", nlohmann::json::array()))
            file.attributes.emplace_back(attribute[0].get<std::string>(), unhex(attribute[1].get<std::string>()));
        checkpoint.files.push_back(std::move(file));
    }
    return checkpoint;
}

void remove_checkpoint()
{
    remove_tree(kOldCheckpoint);
    if (rename(kCheckpoint, kOldCheckpoint) == 0)
        remove_tree(kOldCheckpoint);
}

std::string new_token()
{
    std::random_device random;
    return std::to_string(random()) + "-" + std::to_string(random());
}

} // namespace cli::state
