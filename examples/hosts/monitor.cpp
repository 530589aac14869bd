// A host that embeds the engine in full: it watches a small web shop with rules and looks at what the engine does.
//
// What it shows: events, the three ways to give the language functions of the host (a C++ callable, a
// component with a callback, a derived class), a template built in C++ without a text, running in steps, an
// error that the host catches, and the statistics of a run.

#include <exception>
#include <iostream>
#include <map>
#include <string>
#include <string_view>

#include "kb/engine/InferenceEngine.h"

namespace {

constexpr std::string_view kRules = R"(
(defrule shop-is-slow
  (service (name ?name) (milliseconds ?time&:(> ?time 500)))
  (not (ticket (service ?name)))
  =>
  (assert (ticket (service ?name) (level (level-of ?time)))))

(defrule tell-owner
  (declare (salience 10))
  (ticket (service ?name) (level ?level&~low))
  =>
  (printout t "to " (owner ?name) ": " ?name " is slow, level " ?level crlf))

(defrule restart-payment
  "Three failures in a row of anything that takes money."
  ?service <- (service (name ?name) (failures ?failures&:(>= ?failures 3)) (tags $? money $?))
  =>
  (printout t "restarting " ?name " after " (percent ?failures 10) " of failures" crlf)
  (modify ?service (failures 0)))

(defrule all-quiet
  (declare (salience -10))
  (not (service (failures ?failures&:(> ?failures 0))))
  (not (ticket (level high)))
  =>
  (printout t "all quiet" crlf))
)";

// A function as a class: the share of the first number in the second, as text.
class TPercent : public kb::TKBUserFunction {
 protected:
  void InitMetaData() override {
    SetFunctionName("percent");
    SetComment("The share of one number in another");
    SetMinArgumentCount(2);
    SetMaxArgumentCount(2);
  }
  void Call(kb::TFunctionCall& call, kb::TKBContext& context, kb::IKBValue& result) override {
    const double part = call.Evaluate(0, context)->GetAsNumeric();
    const double whole = call.Evaluate(1, context)->GetAsNumeric();
    result = kb::MakeString(std::to_string(static_cast<int>(100 * part / whole)) + " %");
  }
};

class TMonitor {
 public:
  TMonitor() : owner_(nullptr, "owner") {
    AddEvents();
    AddFunctions();
    AddTemplates();
    engine_.Parse(kRules, false);
    engine_.Reset();
  }

  kb::TInferenceEngine& Engine() { return engine_; }

  // A fact without a text: the template makes it with its defaults filled in.
  int32_t AddService(std::string_view name, int milliseconds, int failures, std::string_view tags) {
    const kb::IFact fact = engine_.FindFactTemplate("service")->NewFact();
    fact->SetValue("name", kb::MakeAtom(name));
    fact->SetValue("milliseconds", kb::MakeInteger(milliseconds));
    fact->SetValue("failures", kb::MakeInteger(failures));
    if (!tags.empty()) fact->SetValue("tags", engine_.Parse(tags, kb::dtList));
    return engine_.Assert(fact);
  }

  void Report() const {
    std::cout << asserted_ << " facts asserted, " << retracted_ << " retracted\n";
    for (const auto& [rule, count] : fired_) std::cout << rule << " fired " << count << "\n";
  }

 private:
  void AddEvents() {
    engine_.OnPrintOut = [](kb::TInferenceEngine&, std::string_view, std::string_view text) {
      for (const char c : text) {
        if (c != '\r') std::cout << c;
      }
    };
    engine_.OnAssertion = [this](kb::TInferenceEngine&, const kb::IFact&) { ++asserted_; };
    engine_.OnRetraction = [this](kb::TInferenceEngine&, const kb::IFact&) { ++retracted_; };
    engine_.OnRuleFired = [this](kb::TInferenceEngine&, kb::TRule& rule) { ++fired_[std::string(rule.GetRuleName())]; };
    engine_.OnEndInference = [](kb::TInferenceEngine&, int32_t fired) {
      std::cout << "-- end of the run, " << fired << " rules fired\n";
    };
  }

  void AddFunctions() {
    // A callable, in one line.
    engine_.RegisterFunction(
        "level-of",
        [](kb::TFunctionArguments& arguments) {
          return kb::MakeAtom(arguments[0]->GetAsInteger() > 2000 ? "high" : "low");
        },
        1, 1);
    // A component, which may be set up before there is an engine and be taken away again.
    owner_.OnCall = [](kb::TObject&, kb::TFunctionCall& call, kb::TKBContext& context, kb::IKBValue& result) {
      static const std::map<std::string, std::string> kOwners{{"search", "Ruth"}, {"basket", "Milo"}};
      const auto found = kOwners.find(std::string(call.Evaluate(0, context)->GetAsString()));
      result = kb::MakeString(found == kOwners.end() ? "everybody" : found->second);
    };
    owner_.SetEngine(&engine_);
    // A class.
    kb::MakeRef<TPercent>()->AddReasoner(&engine_);
  }

  void AddTemplates() {
    const auto service = kb::MakeRef<kb::TFactTemplate>(&engine_, "service");
    service->AddSlot("name", kb::FCNil);
    service->AddSlot("milliseconds", kb::MakeInteger(0));
    service->AddSlot("failures", kb::MakeInteger(0));
    service->AddMultiSlot("tags", kb::FCNilList);
    engine_.GetFactTemplates().Add(service);
    engine_.Parse("(deftemplate ticket (slot service) (slot level))", false);
  }

  kb::TInferenceEngine engine_;
  kb::TUserFunction owner_;
  int asserted_ = 0;
  int retracted_ = 0;
  std::map<std::string, int> fired_;
};

void Watch() {
  TMonitor monitor;
  kb::TInferenceEngine& engine = monitor.Engine();
  engine.Run();

  monitor.AddService("search", 2600, 0, "read public");
  monitor.AddService("basket", 700, 1, "read write");
  const int32_t payment = monitor.AddService("payment", 120, 3, "write money external");
  std::cout << "payment is fact " << payment << ", " << engine.GetAgendaCount() << " activations\n";

  // One rule at a time, with a look at the agenda in between.
  while (engine.GetAgendaCount() > 0) {
    const std::string next(engine.GetActivation(0)->GetRule()->GetRuleName());
    std::cout << "next: " << next << "\n";
    engine.Run(1);
  }

  try {
    engine.Parse("(defrule broken (service (nmae ?x)) => )", false);
  } catch (const kb::EException& error) {
    std::cout << "refused: " << error.what() << "\n";
  }
  engine.SetWatch({kb::cwStatistics});
  engine.OnPrintOut = nullptr;
  engine.Reset();
  engine.Run();
  std::cout << "most facts " << engine.GetStatMaxFacts() << ", most activations " << engine.GetStatMaxActivations()
            << "\n";
  monitor.Report();
}

}  // namespace

int main() {
  try {
    Watch();
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "monitor: " << error.what() << "\n";
    return 1;
  }
}
