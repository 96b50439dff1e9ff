#include "client/plugin_registry.h"

#include <gtest/gtest.h>

#include "support/test_platform.h"

namespace pelorin {
namespace {

class CountingPlugin : public PelorinPlugin {
 public:
  CountingPlugin(PelorinClient& /*client*/, InteractionContext context)
      : _context(std::move(context)) {}
  void onLoad() override {}
  const InteractionContext& context() const { return _context; }

 private:
  InteractionContext _context;
};

class OtherPlugin : public CountingPlugin {
 public:
  using CountingPlugin::CountingPlugin;
};

struct NotAPlugin {};

class PluginRegistryTest : public ::testing::Test {
 protected:
  testing::TestPlatform _test;
  PluginRegistry _registry;
};

TEST_F(PluginRegistryTest, RegisteringLogsAndAddsTheModuleQualifiedName) {
  _registry.registerPluginClass(PluginClass::of<CountingPlugin>("MyApp.Counting"),
                                "MyApp.Counting");
  EXPECT_EQ(_registry.names(),
            (std::vector<std::string>{"MyApp.Counting", "PelorinClient.Counting"}));
  EXPECT_EQ(_test.logLines(), std::vector<std::string>{
                                  "INFO [PL_CLIENT]: The plugin 'MyApp.Counting' is registered."});
  EXPECT_TRUE(_registry.getCachedPluginClass("PelorinClient.Counting").has_value());
}

TEST_F(PluginRegistryTest, FirstRegistrationWinsAndTheSecondIsSilent) {
  _registry.registerPluginClass(PluginClass::of<CountingPlugin>("A"), "Banner");
  _test.console().clear();
  _registry.registerPluginClass(PluginClass::of<OtherPlugin>("B"), "Banner");
  EXPECT_TRUE(_test.logLines().empty());
  EXPECT_EQ(_registry.getCachedPluginClass("Banner")->name(), "A");
}

TEST_F(PluginRegistryTest, NonPluginClassIsRefused) {
  _registry.registerPluginClass(PluginClass::of<NotAPlugin>("NotAPlugin"), "NotAPlugin");
  EXPECT_TRUE(_registry.names().empty());
  EXPECT_EQ(_test.logLines(),
            std::vector<std::string>{"INFO [PL_CLIENT]: The class 'NotAPlugin' is not of type "
                                     "'PelorinPlugin' and will not be registered."});
}

TEST_F(PluginRegistryTest, RegisterPluginClassesLogsTheAvailableNames) {
  _registry.registerPluginClasses({PluginClass::of<CountingPlugin>("PelorinClient.Counting"),
                                   PluginClass::of<OtherPlugin>("PelorinClient.Other")});
  EXPECT_EQ(_test.logLines().back(),
            "INFO [PL_CLIENT]: Following plugins are available: PelorinClient.Counting, "
            "PelorinClient.Other");
}

TEST_F(PluginRegistryTest, ForeignModulePrefixResolvesThroughTheShortName) {
  _registry.registerPluginClass(PluginClass::of<CountingPlugin>("Counting"), "Counting");
  auto found = _registry.getPluginClass("OtherModule.Counting");
  ASSERT_TRUE(found.has_value());
  EXPECT_EQ(found->name(), "Counting");
}

TEST_F(PluginRegistryTest, RuntimeClassIsFoundLoggedAndCached) {
  RuntimeClasses::add(PluginClass::of<OtherPlugin>("Runtime.Only"));
  auto found = _registry.getCachedPluginClass("Runtime.Only");
  ASSERT_TRUE(found.has_value());
  EXPECT_EQ(_test.logLines(),
            std::vector<std::string>{"INFO [PL_CLIENT]: Plugin found at <Runtime.Only>"});
  _registry.getCachedPluginClass("Runtime.Only");
  EXPECT_EQ(_test.logLines().size(), 1U);  // cached: no second lookup
}

TEST_F(PluginRegistryTest, ApplicationModuleRetryFromBundleExecutable) {
  _test.bundle().set("CFBundleExecutable", JsonValue("My Shop"));
  RuntimeClasses::add(PluginClass::of<CountingPlugin>("My_Shop.Banner"));
  auto found = _registry.getPlugin("ServerModule.Banner");
  ASSERT_TRUE(found.has_value());
  EXPECT_EQ(found->name(), "My_Shop.Banner");
}

TEST_F(PluginRegistryTest, UnknownClassLogsAWarning) {
  EXPECT_FALSE(_registry.getPlugin("Nowhere.Missing").has_value());
  EXPECT_EQ(_test.logLines(),
            std::vector<std::string>{"WARNING [PL_CLIENT]: Project name cannot be found or plugins "
                                     "class <Nowhere.Missing> is invalid"});
}

TEST(PluginClassTest, OnlyPluginsHaveAFactory) {
  EXPECT_TRUE(PluginClass::of<CountingPlugin>("C").isPlugin());
  EXPECT_FALSE(PluginClass::of<NotAPlugin>("N").isPlugin());
}

}  // namespace
}  // namespace pelorin
