// The baseline of size_probe.cc: the same standard-library work without the library.
#include <cstdio>
#include <map>
#include <string>

int main(int argc, char** /*argv*/) {
  std::map<std::string, std::string> profile{{"city", "Delft"}};
  std::map<std::string, std::string> properties{{"screenName", "home"}};
  if (argc > 1) profile.insert(properties.begin(), properties.end());
  std::printf("%s\n", profile["city"].c_str());
  return 0;
}
