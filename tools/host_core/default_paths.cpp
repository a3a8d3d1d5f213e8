#include "host_core/default_paths.h"

#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

namespace host_core {
namespace {

std::string parentOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return std::string();
  return slash == 0 ? std::string("/") : path.substr(0, slash);
}

std::string lastSegment(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

bool isFile(const std::string& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

}  // namespace

DefaultPaths defaultPathsFor(const std::string& executable, const DefaultPaths& buildTree,
                             const InstallLayout& layout) {
  const std::string bin = parentOf(executable);
  if (bin.empty() || lastSegment(bin) != "bin") return buildTree;
  const std::string prefix = parentOf(bin);
  const std::string plugin = prefix + "/" + layout.libdir + "/" + layout.pluginFile;
  if (!isFile(plugin)) return buildTree;
  const std::string data = prefix + "/" + layout.datadir;
  return DefaultPaths{plugin, data + "/applications.json", data + "/web"};
}

std::string runningExecutable() {
  char buffer[PATH_MAX];
  const ssize_t length = ::readlink("/proc/self/exe", buffer, sizeof buffer - 1);
  if (length <= 0) return std::string();
  return std::string(buffer, static_cast<size_t>(length));
}

DefaultPaths defaultPaths(const DefaultPaths& buildTree, const InstallLayout& layout) {
  return defaultPathsFor(runningExecutable(), buildTree, layout);
}

}  // namespace host_core
