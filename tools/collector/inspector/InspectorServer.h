// Serves the inspector: a page that shows what arrives, and what the page asks for.
//
// It listens on the loopback interface only, and answers only to who knows the token of this start,
// see PageGuard. What it answers is described in docs/inspector.md.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "RequestStore.h"
#include "inspector/Controls.h"
#include "inspector/LiveFeed.h"
#include "inspector/RequestReader.h"

namespace collector {

// What an application needs to report here.
struct ConnectionFacts {
  int port = 0;
  std::string developerKey;
  std::filesystem::path authority;
};

class InspectorServer {
 public:
  // Throws std::runtime_error.
  InspectorServer(std::string token, ConnectionFacts facts, RequestStore& store,
                  RequestReader& reader, Controls& controls, LiveFeed& feed);
  ~InspectorServer();

  // Serves from then on. 0 is any free port; the port bound is returned. Throws
  // std::runtime_error when it is taken.
  int start(int port);

  // Ends pages' connections.
  void stop();

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace collector
