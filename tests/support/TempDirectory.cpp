// SPDX-License-Identifier: Apache-2.0
#include "support/TempDirectory.h"

#include <fstream>
#include <random>
#include <sstream>

namespace corvanta::test {

namespace fs = std::filesystem;

TempDirectory::TempDirectory() {
    std::random_device random;
    do {
        path_ = fs::temp_directory_path() /
                ("corvanta-test-" + std::to_string(random()) + std::to_string(random()));
    } while (!fs::create_directory(path_));
}

TempDirectory::~TempDirectory() {
    std::error_code ignored;
    fs::permissions(path_, fs::perms::owner_all, ignored);
    fs::remove_all(path_, ignored);
}

std::string TempDirectory::write(std::string_view name, std::string_view content) const {
    const fs::path file = path_ / name;
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
    return file.string();
}

std::string readFile(const fs::path& path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

}  // namespace corvanta::test
