// Feeds arbitrary bytes as the parameters of a form listener on a headless sign-up form:
// the first line is the "version" parameter ("2" takes the rest as JSON text of a rule
// list, anything else as an object of old-layout rules to upgrade), the rest is
// "form_listener_rules". Then the user fills in, picks, taps and submits, and field change,
// update-values, click and form submit events are published. Whatever the rules say, the
// host must not crash.
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "client/pelorin_client_impl.h"
#include "client_harness.h"
#include "json/json_value_access.h"
#include "listeners/form_listener.h"
#include "pelorin/event.h"
#include "pelorin/headless/picker_view.h"
#include "pelorin/pelorin_client.h"
#include "pelorin/pelorin_event_factory.h"

namespace {

using namespace pelorin;  // NOLINT(google-build-using-namespace): a fuzz driver
using Strings = std::vector<std::string>;

// One field of every kind a form rule can watch, each under an outlet of its name.
struct SignUpForm {
  SignUpForm() {
    add("cityField", city);
    add("emailField", email);
    add("newsletterSwitch", newsletter);
    add("budgetSlider", budget);
    add("steadySlider", steady);
    add("guestsStepper", guests);
    add("planSegments", plan);
    add("birthdayPicker", birthday);
    add("sizePicker", sizes);
    add("planButton", planButton);
    add("submitButton", submit);
    add("caption", caption);
    steady->setContinuous(false);
  }
  void add(const std::string& outlet, const std::shared_ptr<headless::View>& view) {
    controller->view()->addSubview(view);
    controller->addOutlet(outlet, view);
  }

  std::shared_ptr<headless::ViewController> controller =
      std::make_shared<headless::ViewController>("SignUp");
  std::shared_ptr<headless::TextField> city = std::make_shared<headless::TextField>("");
  std::shared_ptr<headless::TextField> email =
      std::make_shared<headless::TextField>("ann@example.com");
  std::shared_ptr<headless::Switch> newsletter = std::make_shared<headless::Switch>();
  std::shared_ptr<headless::Slider> budget = std::make_shared<headless::Slider>(0, 100, 10);
  std::shared_ptr<headless::Slider> steady = std::make_shared<headless::Slider>(0, 1, 0.5);
  std::shared_ptr<headless::Stepper> guests = std::make_shared<headless::Stepper>(0, 10, 1, 2);
  std::shared_ptr<headless::SegmentedControl> plan =
      std::make_shared<headless::SegmentedControl>(Strings{"Basic", "Gold"});
  std::shared_ptr<headless::DatePicker> birthday = std::make_shared<headless::DatePicker>(
      platform::Clock::TimePoint(std::chrono::seconds(631152000)));
  std::shared_ptr<headless::PickerView> sizes =
      std::make_shared<headless::PickerView>(std::vector<Strings>{{"S", "M", "L"}, {"Red"}});
  std::shared_ptr<headless::Button> planButton = std::make_shared<headless::Button>("Gold");
  std::shared_ptr<headless::Button> submit = std::make_shared<headless::Button>("Send");
  std::shared_ptr<headless::Label> caption = std::make_shared<headless::Label>("ÜBER UNS \xff");
};

JsonValue interactionWith(std::string_view version, std::string_view rules) {
  auto parameter = [](std::string_view id, std::string_view value) {
    return boost::json::object{{"id", id}, {"value", boost::json::array{value}}};
  };
  return toJsonValue(boost::json::object{
      {"id", "fuzz-form"},
      {"defaultLocale", "en"},
      {"parameters",
       boost::json::array{boost::json::object{
           {"locale", "en"},
           {"parameter", boost::json::array{parameter("version", version),
                                            parameter("form_listener_rules", rules)}}}}}});
}

void useForm(const SignUpForm& form) {
  form.city->beginEditing();
  form.city->typeText("Zürich İSTANBUL");
  form.city->pressReturn();
  form.email->beginEditing();
  form.email->endEditing();
  form.newsletter->tap();
  form.budget->drag({20, 40, 60});
  form.steady->drag({0.1, 0.9});
  form.guests->increment();
  (void)form.plan->selectSegment(1);
  form.birthday->pickDate(platform::Clock::TimePoint(std::chrono::seconds(662688000)));
  (void)form.sizes->pickRow(2, 0);
  (void)form.sizes->pickRow(0, 1);
  form.planButton->tap();
  form.submit->tap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto& h = fuzzing::harness<SignUpForm>();
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const std::size_t newline = text.find('\n');
  const std::string_view version =
      newline == std::string_view::npos ? "2" : text.substr(0, newline);
  const std::string_view rules =
      newline == std::string_view::npos ? text : text.substr(newline + 1);

  const JsonValue interaction = interactionWith(version, rules);
  auto listener = std::make_shared<FormListener>(
      *h.client, InteractionContext(interaction.ref(), h.screen.controller, std::nullopt));
  listener->onLoad();
  useForm(h.screen);

  PelorinEventManager& bus = PelorinEventFactory::getInstance();
  PelorinClient::synchronized([&] {
    bus.publish(std::make_shared<FieldChangeEvent>("#cityField"));
    bus.publish(std::make_shared<FieldChangeEvent>("#newsletterSwitch", Strings{"yes"}));
    bus.publish(std::make_shared<UpdateValuesEvent>("#sizePicker", Strings{"M", "Blue"}));
    bus.publish(std::make_shared<UpdateValuesEvent>("#caption", Strings{}));
    bus.publish(std::make_shared<ClickEvent>("#planButton", Strings{"Gold"}));
    bus.publish(std::make_shared<FormSubmitEvent>("#submitButton"));
  });
  h.services.mainLoop->runUntilIdle();
  if (listener->formListeningService()) listener->formListeningService()->save();

  listener->onDestroy();
  bus.clearEvents();
  return 0;
}
