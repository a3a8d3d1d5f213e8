#include "fs/standard_directories.h"

#include <unistd.h>

#include <cstdlib>
#include <sstream>

namespace fs {

Path temporary_directory_for(const char* value) {
  std::string text = value != nullptr ? value : "";
  if (text.empty()) text = "/tmp";
  return Path(text);
}

Path temporary_directory() {
  return temporary_directory_for(std::getenv("TMPDIR"));
}

Path common_application_data_directory() {
  return Path("/var/opt");
}

Path common_color_profile_directory() {
  return common_application_data_directory().join("VURN/profiles");
}

Path home_directory_for(const std::string& login) {
  if (login.empty() || login == "root") return Path("/root");
  return Path("/home").join(login);
}

Path home_directory() {
  return home_directory_for(user_name_for_linux());
}

Path user_application_data_directory_for(const std::string& login) {
  return home_directory_for(login).join(".local/share");
}

Path user_application_data_directory() {
  return user_application_data_directory_for(user_name_for_linux());
}

Path user_color_profile_directory_for(const std::string& login) {
  return user_application_data_directory_for(login).join("icc");
}

Path user_color_profile_directory() {
  return user_color_profile_directory_for(user_name_for_linux());
}

Path desktop_directory_for(const std::string& login) {
  return home_directory_for(login).join("Desktop");
}

Path desktop_directory() {
  return desktop_directory_for(user_name_for_linux());
}

Path executable_path() {
  std::ostringstream pid;
  pid << getpid();
  const std::string link = "/proc/" + pid.str() + "/exe";
  // One byte more than readlink may fill keeps the text terminated whatever it returns; its
  // result is deliberately not examined: a failure leaves the buffer empty.
  char buffer[2048] = {};
  ssize_t ignored = readlink(link.c_str(), buffer, sizeof buffer - 1);
  (void)ignored;
  return Path(std::string(buffer));
}

Path bundle_directory_of(const Path& executable) {
  const std::string& text = executable.text();
  const std::string::size_type slash = text.rfind('/');
  // A '/' at position 0 counts as none: "/prog" stays "/prog" rather than becoming "".
  if (slash != std::string::npos && slash != 0) return Path::verbatim(text.substr(0, slash));
  return Path::verbatim(text);
}

Path bundle_directory() {
  return bundle_directory_of(executable_path());
}

std::string user_name_for_linux() {
  // 1023 of 1024 bytes: the name is terminated even when getlogin_r fills its whole length.
  char buffer[1024] = {};
  if (getlogin_r(buffer, sizeof buffer - 1) != 0) return std::string();
  return std::string(buffer);
}

}  // namespace fs
