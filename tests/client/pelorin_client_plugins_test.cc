// The engine's plug-in lifecycle without a server: selecting the registered plug-ins of
// an answer's interactions, starting them on the main thread and stopping them again.

#include <gtest/gtest.h>

#include "client/client_testing.h"
#include "pelorin/event.h"
#include "pelorin/headless/view_controller.h"
#include "pelorin/pelorin_client.h"
#include "pelorin/pelorin_event_factory.h"
#include "support/journal.h"
#include "support/test_platform.h"

namespace pelorin {
namespace {

using Lines = std::vector<std::string>;

JsonValue json(std::string_view text) { return JsonValue::parse(text).value(); }

using testing::journal;

// Writes "<event name> to <interaction>" for each advanced event it receives.
class AdvancedEventRecorder : public EventHandler {
 public:
  explicit AdvancedEventRecorder(std::string id) : _id(std::move(id)) {}
  std::string listenerId() const override { return _id; }
  void handleEvent(const std::shared_ptr<Event>& event) override {
    const auto* advanced = dynamic_cast<const AdvancedEvent*>(event.get());
    if (advanced != nullptr) journal().add(advanced->eventName() + " to " + _id);
  }

 private:
  std::string _id;
};

// Journals its construction, loading and destruction; subscribes to advanced events.
class Recorder : public PelorinPlugin {
 public:
  Recorder(PelorinClient& client, InteractionContext context)
      : _client(client), _context(std::move(context)) {
    journal().add("new " + id());
  }
  void onLoad() override {
    journal().add(std::string("load ") + id() +
                  (Platform::current().mainThread().isMainThread() ? " on main" : " elsewhere"));
    PelorinEventFactory::getInstance().subscribe(
        AdvancedEvent::NAME, std::make_shared<AdvancedEventRecorder>(id()), id());
  }
  void onDestroy() override {
    journal().add("destroy " + id());
    PelorinEventFactory::getInstance().clearEventHandlers(id());
  }

  PelorinClient& client() const { return _client; }
  const InteractionContext& context() const { return _context; }

 private:
  std::string id() const { return _context.getInteractionId().value_or("?"); }

  PelorinClient& _client;
  InteractionContext _context;
};

// A plug-in that keeps the default, empty onDestroy.
class Quiet : public PelorinPlugin {
 public:
  Quiet(PelorinClient& /*client*/, InteractionContext context) : _context(std::move(context)) {}
  void onLoad() override { journal().add("load quiet"); }

 private:
  InteractionContext _context;
};

struct NotAPlugin {};

class PelorinClientPluginsTest : public ::testing::Test {
 protected:
  PelorinClientPluginsTest() {
    // A server address nobody listens on: these tests never reach a server.
    _test.bundle().set("pl_server_url", JsonValue("http://127.0.0.1:9/"));
    client().registerPluginClass(PluginClass::of<Recorder>("MyApp.Recorder"));
    client().registerPluginClass(PluginClass::of<Quiet>("MyApp.Quiet"));
    _test.console().clear();
    journal().clear();
  }

  static PelorinClient& client() { return PelorinClient::getInstance(); }
  static PelorinClientImpl& engine() ASSERT_CAPABILITY(globalLock()) {
    return ClientTesting::engine(client());
  }

  static std::vector<std::shared_ptr<PelorinPlugin>> select(std::string_view interactions) {
    JsonValue list = json(interactions);
    return PelorinClient::synchronized(
        [&] { return engine().getRegisteredPluginInteractions(list.ref()); });
  }
  static void load(const std::vector<std::shared_ptr<PelorinPlugin>>& plugins, bool isPageview) {
    PelorinClient::synchronized([&] { engine().loadPlugins(plugins, isPageview); });
  }
  static void destroy() {
    PelorinClient::synchronized([&] { engine().destroyPlugins(); });
  }
  static std::size_t currentCount() {
    return PelorinClient::synchronized([&] { return engine().currentPlugins().size(); });
  }
  static const Recorder& recorder(const std::shared_ptr<PelorinPlugin>& plugin) {
    return dynamic_cast<const Recorder&>(*plugin);
  }

  testing::TestPlatform _test;
};

constexpr std::string_view kBanner = R"({"pluginClass":"MyApp.Recorder","id":"i1","name":"Banner",
    "myInteractionTypeId":"t1","position":"#banner","defaultLocale":"en","parameters":[
      {"locale":"en","parameter":[{"id":"text","value":["Hello"]}]},
      {"locale":"nl","parameter":[{"id":"text","value":["Hallo"]},{"id":"size","value":["2"]}]}]})";

TEST_F(PelorinClientPluginsTest, SelectionBuildsEachPluginWithItsContext) {
  auto screen = std::make_shared<headless::ViewController>("Home");
  PelorinClient::getInstance(screen);
  client().setLocale("nl");
  auto plugins = select("[" + std::string(kBanner) + "]");
  ASSERT_EQ(plugins.size(), 1U);
  const Recorder& banner = recorder(plugins[0]);
  EXPECT_EQ(&banner.client(), &client());
  EXPECT_EQ(banner.context().getInteractionId(), "i1");
  EXPECT_EQ(banner.context().getInteractionName(), "Banner");
  EXPECT_EQ(banner.context().getInteractionTypeId(), "t1");
  EXPECT_EQ(banner.context().getPositionIdentifier(), "#banner");
  EXPECT_EQ(banner.context().getLocale(), "nl");
  EXPECT_EQ(banner.context().getParameters(), (Parameters{{"text", {"Hallo"}}, {"size", {"2"}}}));
  EXPECT_EQ(banner.context().getViewController(), screen);
  EXPECT_EQ(client().getViewController(), screen);
  EXPECT_EQ(_test.logLines(),
            (Lines{"INFO [PL_CLIENT]: Plugin class <MyApp.Recorder> found! For the id: t1 and "
                   "interaction: i1",
                   "INFO [PL_INTERACTION]: Locale used: nl"}));
  // Selecting starts nothing yet.
  EXPECT_EQ(currentCount(), 0U);
  EXPECT_EQ(journal().entries(), Lines{"new i1"});
}

TEST_F(PelorinClientPluginsTest, SelectionWithoutARequestedLocaleUsesTheDefault) {
  auto plugins = select("[" + std::string(kBanner) + "]");
  ASSERT_EQ(plugins.size(), 1U);
  EXPECT_EQ(recorder(plugins[0]).context().getLocale(), std::nullopt);
  EXPECT_EQ(recorder(plugins[0]).context().getParameters(), (Parameters{{"text", {"Hello"}}}));
  EXPECT_EQ(_test.logLines().back(), "INFO [PL_INTERACTION]: Locale used: en");
}

TEST_F(PelorinClientPluginsTest, UnknownClassesAreLoggedAndSkippedWhileTheOthersLoad) {
  auto plugins = select(R"([{"pluginClass":"Nowhere.Missing","id":"i1","myInteractionTypeId":"t1"},
      {"id":"i2","myInteractionTypeId":"t2"},
      {"pluginClass":7,"myInteractionTypeId":"t3"},
      {"pluginClass":"MyApp.Quiet","id":"i4","myInteractionTypeId":"t4"}])");
  ASSERT_EQ(plugins.size(), 1U);
  EXPECT_NE(dynamic_cast<Quiet*>(plugins[0].get()), nullptr);
  EXPECT_EQ(_test.logLines(),
            // NOLINTNEXTLINE(bugprone-suspicious-missing-comma): long log lines split for width
            (Lines{"WARNING [PL_CLIENT]: Project name cannot be found or plugins class "
                   "<Nowhere.Missing> is invalid",
                   "WARNING [PL_CLIENT]: Plugin class <Nowhere.Missing> not found for type id: "
                   "t1; and interaction: i1",
                   "WARNING [PL_CLIENT]: Plugin class <> not found for type id: t2; and "
                   "interaction: i2",
                   "WARNING [PL_CLIENT]: Plugin class <> not found for type id: t3; and "
                   "interaction: ",
                   "INFO [PL_CLIENT]: Plugin class <MyApp.Quiet> found! For the id: t4 and "
                   "interaction: i4"}));
}

TEST_F(PelorinClientPluginsTest, ClassThatIsNoPluginIsSkippedWithoutAMessage) {
  RuntimeClasses::add(PluginClass::of<NotAPlugin>("MyApp.NotAPlugin"));
  auto plugins =
      select(R"([{"pluginClass":"MyApp.NotAPlugin","id":"i1","myInteractionTypeId":"t1"}])");
  EXPECT_TRUE(plugins.empty());
  EXPECT_EQ(_test.logLines(),
            (Lines{"INFO [PL_CLIENT]: Plugin found at <MyApp.NotAPlugin>",
                   "INFO [PL_CLIENT]: Plugin class <MyApp.NotAPlugin> found! For the id: t1 and "
                   "interaction: i1"}));
}

TEST_F(PelorinClientPluginsTest, ModuleQualifiedNameOfARegisteredClassIsFound) {
  auto plugins = select(R"([{"pluginClass":"PelorinClient.Recorder","id":"i1"}])");
  ASSERT_EQ(plugins.size(), 1U);
  EXPECT_EQ(recorder(plugins[0]).context().getInteractionId(), "i1");
}

TEST_F(PelorinClientPluginsTest, LoadSchedulesOnLoadInOrderThenHandlesTheQueuedEvents) {
  auto plugins = select(R"([{"pluginClass":"MyApp.Recorder","id":"i1"},
                            {"pluginClass":"MyApp.Recorder","id":"i2"}])");
  // Published before the plug-ins subscribed: only the scheduled replay reaches them.
  PelorinClient::synchronized([] {
    PelorinEventFactory::getInstance().publish(std::make_shared<AdvancedEvent>("signup"));
  });
  load(plugins, true);
  EXPECT_EQ(currentCount(), 2U);
  EXPECT_EQ(journal().entries(), (Lines{"new i1", "new i2"}));  // nothing ran yet

  EXPECT_EQ(_test.mainLoop().runUntilIdle(), 3U);
  EXPECT_EQ(journal().entries(), (Lines{"new i1", "new i2", "load i1 on main", "load i2 on main",
                                        "signup to i1", "signup to i2"}));
}

TEST_F(PelorinClientPluginsTest, LoadingNothingChangesNothing) {
  load(select(R"([{"pluginClass":"MyApp.Recorder","id":"i1"}])"), true);
  _test.mainLoop().runUntilIdle();
  load({}, true);
  EXPECT_EQ(currentCount(), 1U);
  EXPECT_EQ(_test.mainLoop().runUntilIdle(), 0U);
}

TEST_F(PelorinClientPluginsTest, PageViewReplacesTheCurrentPluginsAndOtherEventsAddToThem) {
  auto first = select(R"([{"pluginClass":"MyApp.Recorder","id":"i1"}])");
  auto second = select(R"([{"pluginClass":"MyApp.Recorder","id":"i2"}])");
  auto third = select(R"([{"pluginClass":"MyApp.Quiet","id":"i3"}])");
  load(first, true);
  load(second, false);
  EXPECT_EQ(PelorinClient::synchronized([] { return engine().currentPlugins(); }),
            (std::vector<std::shared_ptr<PelorinPlugin>>{first[0], second[0]}));
  load(third, true);
  EXPECT_EQ(PelorinClient::synchronized([] { return engine().currentPlugins(); }), third);
}

TEST_F(PelorinClientPluginsTest, DestroyCallsOnDestroyOnTheMainThreadInOrderAndKeepsTheList) {
  load(select(R"([{"pluginClass":"MyApp.Recorder","id":"i1"},{"pluginClass":"MyApp.Quiet","id":"q"},
                  {"pluginClass":"MyApp.Recorder","id":"i2"}])"),
       true);
  _test.mainLoop().runUntilIdle();
  destroy();
  EXPECT_EQ(journal().entries().back(), "load i2 on main");  // scheduled, not called yet
  EXPECT_EQ(_test.mainLoop().runUntilIdle(), 3U);
  const Lines entries = journal().entries();
  EXPECT_EQ(Lines(entries.end() - 2, entries.end()), (Lines{"destroy i1", "destroy i2"}));
  // The list stays until the next page view's plug-ins replace it; a screen that brings
  // none leaves it, and the next page view stops the same plug-ins again.
  EXPECT_EQ(currentCount(), 3U);
  load({}, true);
  EXPECT_EQ(currentCount(), 3U);
  destroy();
  EXPECT_EQ(_test.mainLoop().runUntilIdle(), 3U);
  const Lines again = journal().entries();
  EXPECT_EQ(Lines(again.end() - 2, again.end()), (Lines{"destroy i1", "destroy i2"}));
}

TEST_F(PelorinClientPluginsTest, DestroyedPluginsNoLongerReceiveEvents) {
  load(select(R"([{"pluginClass":"MyApp.Recorder","id":"i1"}])"), true);
  _test.mainLoop().runUntilIdle();
  destroy();
  _test.mainLoop().runUntilIdle();
  PelorinClient::synchronized(
      [] { PelorinEventFactory::getInstance().publish(std::make_shared<AdvancedEvent>("late")); });
  EXPECT_EQ(journal().entries(), (Lines{"new i1", "load i1 on main", "destroy i1"}));
}

TEST_F(PelorinClientPluginsTest, InteractionsAnswerStartsThePlugins) {
  JsonValue answer =
      json(R"({"result":{"interactions":[{"pluginClass":"MyApp.Recorder","id":"i1"}]}})");
  PelorinClient::synchronized(
      [&] { engine().processInteractionsResult(engine().viewController(), answer.ref(), true); });
  _test.mainLoop().runUntilIdle();
  EXPECT_EQ(currentCount(), 1U);
  EXPECT_EQ(journal().entries(), (Lines{"new i1", "load i1 on main"}));
}

TEST_F(PelorinClientPluginsTest, MalformedInteractionsAnswerIsSkipped) {
  for (std::string_view text : {R"({"result":{}})", R"({"result":{"interactions":{}}})",
                                R"({"result":{"interactions":[1]}})", R"([])"}) {
    JsonValue answer = json(text);
    PelorinClient::synchronized(
        [&] { engine().processInteractionsResult(engine().viewController(), answer.ref(), true); });
  }
  EXPECT_EQ(currentCount(), 0U);
  EXPECT_TRUE(_test.logLines().empty());
  EXPECT_EQ(_test.mainLoop().runUntilIdle(), 0U);
}

TEST_F(PelorinClientPluginsTest, DisabledClientRegistersNoClassByItsName) {
  client().setEnabled(false);
  _test.console().clear();
  client().registerPluginClass(PluginClass::of<Recorder>("MyApp.Late"));
  EXPECT_TRUE(_test.logLines().empty());
  auto plugins = select(R"([{"pluginClass":"MyApp.Late","id":"i1"}])");
  EXPECT_TRUE(plugins.empty());
}

}  // namespace
}  // namespace pelorin
