#include "velora/utils/config_archive.h"

#include <memory>

#include <unistd.h>

#include "velora/procutils/runexe/run_popen.h"
#include "velora/procutils/scoped_cwd.h"
#include "velora/utils/temp_file.h"

namespace MiscUtils {
namespace {

struct RemoveFile {
    void operator()(const std::string* path) const noexcept {
        static_cast<void>(unlink(path->c_str()));
    }
};

}  // namespace

bool UnpackConfigArchive(const std::string& archive, const char* targetDir) {
    const std::string tempPath = MakeTempFile("/tmp/CFGTGZ.XXXXXX");
    const std::unique_ptr<const std::string, RemoveFile> removedAtEnd(&tempPath);
    WriteFile(archive, tempPath.c_str());
    const velora::utils::proc::ScopedCWD insideTarget(targetDir);
    std::string ignoredOutput;
    velora::utils::proc::RunPopen(" tar xvfz " + tempPath + "  -C .", ignoredOutput);
    return true;
}

}  // namespace MiscUtils
