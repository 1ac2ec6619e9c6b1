// What a configuration file the library wrote may hold: the lines of its
// kind only, and nothing a shell would run when the network scripts source it.
#ifndef LINNET_TESTS_HOSTILE_WRITTEN_FILES_H
#define LINNET_TESTS_HOSTILE_WRITTEN_FILES_H

#include <string>
#include <vector>

namespace hostile {

// One line per problem of the written file at `path`.
std::vector<std::string> written_file_problems(const std::string& path);

} // namespace hostile

#endif
