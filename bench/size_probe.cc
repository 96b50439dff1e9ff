// A small application of the library, for measuring how much linking it adds to a program:
// the client, a profile write and read, a page view. Compare its stripped size with that
// of size_baseline.cc, which does the same amount of standard-library work without it.
#include <cstdio>
#include <map>
#include <string>

#include "pelorin/pelorin_client.h"

int main(int argc, char** /*argv*/) {
  auto& client = pelorin::PelorinClient::getInstance();
  client.setProfileValue("city", "Delft");
  std::map<std::string, std::string> properties{{"screenName", "home"}};
  if (argc > 1) client.createEvent("PAGEVIEW", properties);
  std::printf("%s\n", client.getProfileValue("city").c_str());
  return 0;
}
