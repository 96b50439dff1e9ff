#include "pelorin/event.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace pelorin {
namespace {

using Strings = std::vector<std::string>;

TEST(EventTest, EachClassReportsItsModuleQualifiedName) {
  EXPECT_EQ(Event().name(), "PelorinClient.Event");
  EXPECT_EQ(ClickEvent("s").name(), "PelorinClient.ClickEvent");
  EXPECT_EQ(FormSubmitEvent("s").name(), "PelorinClient.FormSubmitEvent");
  EXPECT_EQ(FieldChangeEvent("s").name(), "PelorinClient.FieldChangeEvent");
  EXPECT_EQ(UpdateValuesEvent(Strings{"v"}).name(), "PelorinClient.UpdateValuesEvent");
  EXPECT_EQ(UpdateContentEvent(Strings{"c"}).name(), "PelorinClient.UpdateContentEvent");
  EXPECT_EQ(AdvancedEvent("e").name(), "PelorinClient.AdvancedEvent");
}

TEST(EventTest, NameIsTheConcreteClasssEvenThroughABaseReference) {
  const std::unique_ptr<Event> formSubmit = std::make_unique<FormSubmitEvent>("form1");
  const std::unique_ptr<ClickEvent> fieldChange = std::make_unique<FieldChangeEvent>("field1");
  EXPECT_EQ(formSubmit->name(), FormSubmitEvent::NAME);
  EXPECT_EQ(fieldChange->name(), FieldChangeEvent::NAME);
  EXPECT_NE(formSubmit->name(), ClickEvent::NAME);
}

TEST(EventTest, PlainEventMessageIsItsName) { EXPECT_EQ(Event().message(), "PelorinClient.Event"); }

TEST(EventTest, ClickEventMessageQuotesTheSelector) {
  EXPECT_EQ(ClickEvent("button1").message(), "'button1' - PelorinClient.ClickEvent");
}

TEST(EventTest, FormSubmitEventMessageUsesItsOwnName) {
  EXPECT_EQ(FormSubmitEvent("form1").message(), "'form1' - PelorinClient.FormSubmitEvent");
}

TEST(EventTest, FieldChangeEventMessageUsesItsOwnName) {
  EXPECT_EQ(FieldChangeEvent("email").message(), "'email' - PelorinClient.FieldChangeEvent");
}

TEST(EventTest, UpdateValuesEventMessageIsItsNameAlone) {
  EXPECT_EQ(UpdateValuesEvent("sel", Strings{"a"}).message(), "PelorinClient.UpdateValuesEvent");
  EXPECT_EQ(UpdateValuesEvent(Strings{"a"}).message(), "PelorinClient.UpdateValuesEvent");
}

TEST(EventTest, UpdateContentEventWithoutSelectorHasEmptyQuotes) {
  EXPECT_EQ(UpdateContentEvent(Strings{"x"}).message(), "'' - PelorinClient.UpdateContentEvent");
}

TEST(EventTest, UpdateContentEventWithSelectorQuotesIt) {
  EXPECT_EQ(UpdateContentEvent("banner", Strings{"x"}).message(),
            "'banner' - PelorinClient.UpdateContentEvent");
}

TEST(EventTest, AdvancedEventMessageQuotesItsEventName) {
  EXPECT_EQ(AdvancedEvent("purchase").message(), "'purchase' - PelorinClient.AdvancedEvent");
}

TEST(EventTest, ConstructorsLeaveLocationAbsentAndHandledByEmpty) {
  std::vector<std::unique_ptr<Event>> events;
  events.push_back(std::make_unique<Event>());
  events.push_back(std::make_unique<ClickEvent>("s"));
  events.push_back(std::make_unique<ClickEvent>("s", Strings{"c"}));
  events.push_back(std::make_unique<FormSubmitEvent>("s", Strings{"c"}));
  events.push_back(std::make_unique<FieldChangeEvent>("s"));
  events.push_back(std::make_unique<UpdateValuesEvent>(Strings{"v"}));
  events.push_back(std::make_unique<UpdateValuesEvent>("s", Strings{"v"}));
  events.push_back(std::make_unique<UpdateContentEvent>(Strings{"c"}));
  events.push_back(std::make_unique<UpdateContentEvent>("s", Strings{"c"}));
  events.push_back(std::make_unique<AdvancedEvent>("e"));
  events.push_back(std::make_unique<AdvancedEvent>("e", Strings{"c"}));
  for (const auto& event : events) {
    EXPECT_EQ(event->location(), std::nullopt) << event->name();
    EXPECT_TRUE(event->handledBy().empty()) << event->name();
  }
}

TEST(EventTest, ClickEventKeepsSelectorAndOptionalContext) {
  const ClickEvent bare("button1");
  const FieldChangeEvent withContext("field1", Strings{"shoes", "red"});
  EXPECT_EQ(bare.selector(), "button1");
  EXPECT_EQ(bare.context(), std::nullopt);
  EXPECT_EQ(withContext.selector(), "field1");
  EXPECT_EQ(withContext.context(), (Strings{"shoes", "red"}));
}

TEST(EventTest, UpdateValuesEventKeepsValuesAndOptionalSelector) {
  const UpdateValuesEvent bare(Strings{"1", "2"});
  const UpdateValuesEvent withSelector("price", Strings{"3"});
  EXPECT_EQ(bare.values(), (Strings{"1", "2"}));
  EXPECT_EQ(bare.selector(), std::nullopt);
  EXPECT_EQ(withSelector.values(), Strings{"3"});
  EXPECT_EQ(withSelector.selector(), "price");
}

TEST(EventTest, UpdateContentEventKeepsContentAndOptionalSelector) {
  const UpdateContentEvent bare(Strings{"<p>"});
  const UpdateContentEvent withSelector("banner", Strings{"a", "b"});
  EXPECT_EQ(bare.content(), Strings{"<p>"});
  EXPECT_EQ(bare.selector(), std::nullopt);
  EXPECT_EQ(withSelector.content(), (Strings{"a", "b"}));
  EXPECT_EQ(withSelector.selector(), "banner");
}

TEST(EventTest, AdvancedEventNameIsWritableAndContextOptional) {
  AdvancedEvent event("purchase");
  EXPECT_EQ(event.context(), std::nullopt);
  event.setEventName("refund");
  EXPECT_EQ(event.eventName(), "refund");
  EXPECT_EQ(event.message(), "'refund' - PelorinClient.AdvancedEvent");
  EXPECT_EQ(AdvancedEvent("e", Strings{"c"}).context(), Strings{"c"});
}

TEST(EventTest, AdvancedEventDoesNotKeepItsViewControllerAlive) {
  // The view controller type belongs to the UI toolkit; only its lifetime matters here,
  // so an owner of another type stands in for it (the pointer is never dereferenced).
  auto owner = std::make_shared<int>(0);
  std::shared_ptr<platform::ViewController> screen(
      owner, reinterpret_cast<platform::ViewController*>(owner.get()));
  AdvancedEvent event("purchase");
  EXPECT_TRUE(event.myLocation().expired());

  event.setMyLocation(screen);
  EXPECT_EQ(event.myLocation().lock(), screen);

  owner.reset();
  screen.reset();
  EXPECT_TRUE(event.myLocation().expired());
}

TEST(EventTest, LocationIsWritable) {
  ClickEvent event("b");
  event.setLocation("Home");
  EXPECT_EQ(event.location(), "Home");
  event.setLocation(std::nullopt);
  EXPECT_EQ(event.location(), std::nullopt);
}

TEST(EventTest, AddHandledByAppendsWithoutLookingForDuplicates) {
  Event event;
  event.addHandledBy("h1");
  event.addHandledBy("h2");
  event.addHandledBy("h1");
  EXPECT_EQ(event.handledBy(), (Strings{"h1", "h2", "h1"}));
}

TEST(EventTest, DescriptionShowsMessageLocationAndHandlers) {
  ClickEvent event("button1");
  EXPECT_EQ(event.description(),
            "'button1' - PelorinClient.ClickEvent without location handled by []");
  event.setLocation("Home");
  event.addHandledBy("h1");
  event.addHandledBy("h2");
  EXPECT_EQ(event.description(),
            "'button1' - PelorinClient.ClickEvent at 'Home' handled by [h1, h2]");
}

}  // namespace
}  // namespace pelorin
