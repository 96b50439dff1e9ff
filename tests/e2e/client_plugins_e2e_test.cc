// An application's own plug-in class, started by interactions that a configured devserver
// answers for its screens, with the segments and connections of the same answers.
#include <algorithm>

#include "e2e/client_fixture.h"
#include "pelorin/event.h"
#include "pelorin/headless/toolkit.h"
#include "pelorin/pelorin_event_factory.h"
#include "pelorin/platform/main_thread.h"
#include "support/journal.h"

namespace pelorin {
namespace {

using Lines = std::vector<std::string>;

// Interactions of the application's class for "home" (with an unknown class between them)
// and for "away" (qualified with another module), one for the "newsletter" event, two
// segments and a connection.
constexpr std::string_view kConfig = R"({
  "screens": {
    "home": [
      {"pluginClass": "MyApp.Recorder", "id": "i-1", "name": "Welcome",
       "myInteractionTypeId": "t-1", "position": "#banner", "positionName": "Top",
       "defaultLocale": "en",
       "parameters": [
         {"locale": "en", "parameter": [{"id": "text", "value": ["Hello"]},
                                        {"id": "connection", "value": ["crm"]}]},
         {"locale": "nl", "parameter": [{"id": "text", "value": ["Hallo"]},
                                        {"id": "connection", "value": ["crm"]}]}]},
      {"pluginClass": "Nowhere.Missing", "id": "i-2", "myInteractionTypeId": "t-2"},
      {"pluginClass": "PelorinClient.Recorder", "id": "i-3", "myInteractionTypeId": "t-3"}
    ],
    "away": [{"pluginClass": "OtherModule.Recorder", "id": "i-4", "myInteractionTypeId": "t-4"}]
  },
  "events": {
    "newsletter": [{"pluginClass": "MyApp.Recorder", "id": "i-5", "myInteractionTypeId": "t-5"}]
  },
  "segments": [
    {"id": "everyone", "name": "All visitors"},
    {"id": "utrecht", "name": "Visitors from Utrecht",
     "when": {"property": "city", "equals": "Utrecht"}}
  ],
  "connections": [
    {"id": "crm", "parameters": [{"locale": "en", "parameter": [
      {"id": "endpoint", "value": ["https://crm.example/api"]}]}]}
  ]
})";

using testing::journal;

bool onMainThread() { return Platform::current().mainThread().isMainThread(); }

// Journals the application's named events it receives.
class EventRecorder : public EventHandler {
 public:
  explicit EventRecorder(std::string id) : _id(std::move(id)) {}
  std::string listenerId() const override { return _id; }
  void handleEvent(const std::shared_ptr<Event>& event) override {
    if (const auto* advanced = dynamic_cast<const AdvancedEvent*>(event.get())) {
      journal().add(_id + " got " + advanced->eventName());
    }
  }

 private:
  std::string _id;
};

// The application's plug-in: journals its context, its lifecycle, its connection and view.
class Recorder : public PelorinPlugin {
 public:
  Recorder(PelorinClient& /*client*/, InteractionContext context) : _context(std::move(context)) {
    journal().add("new " + id() + " type " + _context.getInteractionTypeId().value_or("-") +
                  " name " + _context.getInteractionName().value_or("-") + " at " +
                  _context.getPositionIdentifier().value_or("-") + " (" +
                  _context.getPositionName().value_or("-") + ") locale " +
                  _context.getLocale().value_or("-") + " text " +
                  _context.getValueFromParameters("text").value_or("-") +
                  (onMainThread() ? " on main" : " off main"));
  }

  void onLoad() override {
    journal().add("load " + id() + (onMainThread() ? " on main" : " off main"));
    if (auto name = _context.getValueFromParameters("connection")) {
      auto connection = _context.getConnection(*name);
      journal().add(id() + " connection " +
                    (connection ? connection->getParameters().at("endpoint").at(0) : "none"));
    }
    if (auto view = std::dynamic_pointer_cast<headless::Label>(_context.getView())) {
      journal().add(id() + " view " + view->text().value_or(""));
    }
    PelorinEventFactory::getInstance().subscribe(AdvancedEvent::NAME,
                                                 std::make_shared<EventRecorder>(id()), id());
  }

  void onDestroy() override {
    journal().add("destroy " + id() + (onMainThread() ? " on main" : " off main"));
    PelorinEventFactory::getInstance().clearEventHandlers(id());
  }

 private:
  std::string id() const { return _context.getInteractionId().value_or("-"); }

  InteractionContext _context;
};

devserver::DevServerOptions configured() {
  devserver::DevServerOptions options;
  options.config = JsonValue::parse(kConfig);
  return options;
}

class ClientPluginsE2ETest : public testing::ClientE2ETest {
 protected:
  ClientPluginsE2ETest() : ClientE2ETest(configured()) { journal().clear(); }

  void registerRecorder() {
    client().registerPluginClass(PluginClass::of<Recorder>("MyApp.Recorder"));
  }
  std::size_t currentPlugins() {
    return PelorinClient::synchronized([&] { return engine().currentPlugins().size(); });
  }
  // `count` log lines from the first that equals `first`.
  Lines logFrom(const std::string& first, std::size_t count) const {
    const Lines lines = _test.logLines();
    auto start = std::find(lines.begin(), lines.end(), first);
    if (start == lines.end()) return {"(no line \"" + first + "\")"};
    const auto available = static_cast<std::size_t>(lines.end() - start);
    return Lines(start, start + static_cast<std::ptrdiff_t>(std::min(count, available)));
  }
  static bool logged(const Lines& lines, std::string_view line) {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
  }
};

TEST_F(ClientPluginsE2ETest, ApplicationRegistersItsOwnPluginClass) {
  client();
  _test.console().clear();
  registerRecorder();
  EXPECT_EQ(_test.logLines(),
            Lines{"INFO [PL_CLIENT]: The plugin 'MyApp.Recorder' is registered."});
  PelorinClient::synchronized([&] {
    const auto& names = engine().plugins().names();
    EXPECT_NE(std::find(names.begin(), names.end(), "MyApp.Recorder"), names.end());
    EXPECT_NE(std::find(names.begin(), names.end(), "PelorinClient.Recorder"), names.end());
  });
}

TEST_F(ClientPluginsE2ETest, PageViewStartsThePluginWithItsContextAndLoadsItOnTheMainThread) {
  registerRecorder();
  auto home = std::make_shared<headless::ViewController>("Home");
  home->addOutlet("banner", std::make_shared<headless::Label>("Spring sale"));
  PelorinClient::getInstance(home);

  pageView("home");

  EXPECT_EQ(journal().entries(),
            (Lines{"new i-1 type t-1 name Welcome at #banner (Top) locale - text Hello off main",
                   "new i-3 type t-3 name - at - (-) locale - text - off main", "load i-1 on main",
                   "i-1 connection https://crm.example/api", "i-1 view Spring sale",
                   "load i-3 on main"}));
  EXPECT_EQ(currentPlugins(), 2U);
  EXPECT_EQ(client().getViewController(), home);
}

TEST_F(ClientPluginsE2ETest, UnknownClassIsLoggedAndSkippedWhileTheOthersLoad) {
  registerRecorder();
  pageView("home");
  EXPECT_EQ(logFrom("INFO [PL_CLIENT]: Plugin class <MyApp.Recorder> found! For the id: t-1 and "
                    "interaction: i-1",
                    5),
            // NOLINTNEXTLINE(bugprone-suspicious-missing-comma): long log lines split for width
            (Lines{"INFO [PL_CLIENT]: Plugin class <MyApp.Recorder> found! For the id: t-1 and "
                   "interaction: i-1",
                   "INFO [PL_INTERACTION]: Locale used: en",
                   "WARNING [PL_CLIENT]: Project name cannot be found or plugins class "
                   "<Nowhere.Missing> is invalid",
                   "WARNING [PL_CLIENT]: Plugin class <Nowhere.Missing> not found for type id: "
                   "t-2; and interaction: i-2",
                   "INFO [PL_CLIENT]: Plugin class <PelorinClient.Recorder> found! For the id: "
                   "t-3 and interaction: i-3"}));
  EXPECT_EQ(currentPlugins(), 2U);
}

TEST_F(ClientPluginsE2ETest, RequestedLocaleChoosesTheParameters) {
  registerRecorder();
  client().setLocale("nl");
  pageView("home");
  EXPECT_EQ(journal().entries().front(),
            "new i-1 type t-1 name Welcome at #banner (Top) locale nl text Hallo off main");
  EXPECT_TRUE(logged(_test.logLines(), "INFO [PL_INTERACTION]: Locale used: nl"));
}

TEST_F(ClientPluginsE2ETest, MissingLocaleFallsBackToTheDefaultWithAWarning) {
  registerRecorder();
  client().setLocale("fr");
  pageView("home");
  EXPECT_EQ(journal().entries().front(),
            "new i-1 type t-1 name Welcome at #banner (Top) locale fr text Hello off main");
  EXPECT_EQ(logFrom("INFO [PL_CLIENT]: Plugin class <MyApp.Recorder> found! For the id: t-1 and "
                    "interaction: i-1",
                    3),
            (Lines{"INFO [PL_CLIENT]: Plugin class <MyApp.Recorder> found! For the id: t-1 and "
                   "interaction: i-1",
                   "WARNING [PL_INTERACTION]: The locale 'fr' doesn't exists, using default "
                   "locale 'en' instead. Based on all locales '[\"en\", \"nl\"]'",
                   "INFO [PL_INTERACTION]: Locale used: en"}));
}

// The named event is published while the page view's plug-ins are built but not yet
// loaded: only the "handle all events" scheduled after them delivers it.
TEST_F(ClientPluginsE2ETest, EventsPublishedBeforeThePluginsSubscribedReachThem) {
  registerRecorder();
  client().createEvent("PAGEVIEW", JsonValue::parse(R"({"screenName":"home"})"));
  client().createEvent("signup", JsonValue::parse(R"({"context":"footer"})"));
  drain();
  EXPECT_EQ(journal().entries(),
            (Lines{"new i-1 type t-1 name Welcome at #banner (Top) locale - text Hello off main",
                   "new i-3 type t-3 name - at - (-) locale - text - off main", "load i-1 on main",
                   "i-1 connection https://crm.example/api", "load i-3 on main", "i-1 got signup",
                   "i-3 got signup"}));
}

TEST_F(ClientPluginsE2ETest, NextPageViewDestroysThePluginsOnTheMainThread) {
  registerRecorder();
  pageView("home");
  pageView("product");
  const Lines entries = journal().entries();
  ASSERT_GE(entries.size(), 2U);
  EXPECT_EQ(Lines(entries.end() - 2, entries.end()),
            (Lines{"destroy i-1 on main", "destroy i-3 on main"}));
  // A screen without interactions replaces nothing: the list stays until one that has.
  EXPECT_EQ(currentPlugins(), 2U);
  // Unsubscribed in onDestroy: later events reach no one.
  client().createEvent("signup", JsonValue::parse(R"({"context":"footer"})"));
  drain();
  EXPECT_EQ(journal().entries(), entries);
}

TEST_F(ClientPluginsE2ETest, PluginsOfAnotherEventJoinTheCurrentOnesUntilTheNextPageView) {
  registerRecorder();
  pageView("home");
  client().createEvent("newsletter", JsonValue::parse(R"({"context":"footer"})"));
  drain();
  EXPECT_EQ(currentPlugins(), 3U);
  EXPECT_TRUE(logged(journal().entries(), "load i-5 on main"));
  pageView("product");
  const Lines entries = journal().entries();
  EXPECT_EQ(Lines(entries.end() - 3, entries.end()),
            (Lines{"destroy i-1 on main", "destroy i-3 on main", "destroy i-5 on main"}));
}

TEST_F(ClientPluginsE2ETest, SegmentsAndConnectionsReflectTheAnswer) {
  pageView("home");
  EXPECT_TRUE(client().hasSegment("everyone"));
  EXPECT_FALSE(client().hasSegment("utrecht"));
  const auto connections = client().getConnections();
  ASSERT_EQ(connections.size(), 1U);
  EXPECT_EQ(connections[0].getId(), "crm");
  EXPECT_EQ(connections[0].getParameters(),
            (Parameters{{"endpoint", {"https://crm.example/api"}}}));

  // The property goes out in the page view's own batch, before the server decides.
  client().setProfileValue("city", "Utrecht");
  _test.console().clear();
  pageView("product");
  EXPECT_TRUE(client().hasSegment("utrecht"));
  const auto segments = client().getSegments();
  ASSERT_EQ(segments.size(), 2U);
  EXPECT_EQ(segments[1].getId(), "utrecht");
  EXPECT_EQ(segments[1].getName(), "Visitors from Utrecht");
  EXPECT_EQ(
      logFrom("INFO [PL_CLIENT]: 1 connection(s) added!", 2),
      (Lines{"INFO [PL_CLIENT]: 1 connection(s) added!", "INFO [PL_CLIENT]: 2 segment(s) added!"}));
}

TEST_F(ClientPluginsE2ETest, OtherEventsLeaveSegmentsAsTheyAre) {
  pageView("home");
  client().setProfileValue("city", "Utrecht");
  client().createEvent("newsletter", JsonValue::parse(R"({"context":"footer"})"));
  drain();
  EXPECT_FALSE(client().hasSegment("utrecht"));
  EXPECT_EQ(client().getSegments().size(), 1U);
}

TEST_F(ClientPluginsE2ETest, ForeignModulePrefixResolvesThroughTheShortName) {
  // Registered under its plain name, the class answers to any module's qualified name.
  client().registerPluginClass(PluginClass::of<Recorder>("MyApp.Recorder"), "Recorder");
  _test.console().clear();
  pageView("away");
  EXPECT_EQ(journal().entries(), (Lines{"new i-4 type t-4 name - at - (-) locale - text - off main",
                                        "load i-4 on main"}));
  const Lines lines = _test.logLines();
  EXPECT_TRUE(logged(lines,
                     "INFO [PL_CLIENT]: Plugin class <OtherModule.Recorder> found! For "
                     "the id: t-4 and interaction: i-4"));
  EXPECT_FALSE(std::any_of(lines.begin(), lines.end(), [](const std::string& line) {
    return line.starts_with("WARNING [PL_CLIENT]: Project name");
  }));
}

TEST_F(ClientPluginsE2ETest, ForeignModulePrefixResolvesInTheApplicationsModule) {
  _test.bundle().set("CFBundleExecutable", JsonValue("MyApp"));
  registerRecorder();
  pageView("away");
  EXPECT_EQ(journal().entries(), (Lines{"new i-4 type t-4 name - at - (-) locale - text - off main",
                                        "load i-4 on main"}));
  EXPECT_EQ(logFrom("INFO [PL_CLIENT]: 1 segment(s) added!", 2),
            (Lines{"INFO [PL_CLIENT]: 1 segment(s) added!",
                   "INFO [PL_CLIENT]: Plugin class <OtherModule.Recorder> found! For the id: t-4 "
                   "and interaction: i-4"}));
}

TEST_F(ClientPluginsE2ETest, ApplicationModuleWithSpacesIsWrittenWithUnderscores) {
  _test.bundle().set("CFBundleExecutable", JsonValue("My App"));
  client().registerPluginClass(PluginClass::of<Recorder>("My_App.Recorder"));
  pageView("away");
  EXPECT_EQ(currentPlugins(), 1U);
  EXPECT_TRUE(logged(journal().entries(), "load i-4 on main"));
}

TEST_F(ClientPluginsE2ETest, ForeignModulePrefixWithoutTheApplicationsModuleIsNotFound) {
  registerRecorder();
  pageView("away");
  EXPECT_TRUE(journal().entries().empty());
  EXPECT_EQ(currentPlugins(), 0U);
  EXPECT_EQ(logFrom("INFO [PL_CLIENT]: 1 segment(s) added!", 3),
            (Lines{"INFO [PL_CLIENT]: 1 segment(s) added!",
                   "WARNING [PL_CLIENT]: Project name cannot be found or plugins class "
                   "<OtherModule.Recorder> is invalid",
                   "WARNING [PL_CLIENT]: Plugin class <OtherModule.Recorder> not found for type "
                   "id: t-4; and interaction: i-4"}));
}

TEST_F(ClientPluginsE2ETest, DisabledClientRegistersNothingAndStartsNothing) {
  client().setEnabled(false);
  registerRecorder();
  client().setEnabled(true);
  pageView("home");
  EXPECT_TRUE(journal().entries().empty());
  EXPECT_EQ(currentPlugins(), 0U);
}

}  // namespace
}  // namespace pelorin
