#ifndef LUMO_TESTS_TEMPDIR_H
#define LUMO_TESTS_TEMPDIR_H

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

namespace lumo_test {

// A fresh directory under the system's temporary folder, removed with its
// contents when the object goes away.
class TempDir {
public:
    TempDir()
    {
        std::random_device random;
        const auto base = std::filesystem::temp_directory_path();
        for (;;) {
            dir = base / ("lumo-test-" + std::to_string(random()) + std::to_string(random()));
            if (std::filesystem::create_directory(dir)) {
                break;
            }
        }
    }
    ~TempDir()
    {
        std::error_code ignored;
        std::filesystem::remove_all(dir, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    std::string Path() const { return dir.string(); }
    std::string File(const std::string& name) const { return (dir / name).string(); }

private:
    std::filesystem::path dir;
};

inline std::string ReadWholeFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

} // namespace lumo_test

#endif
