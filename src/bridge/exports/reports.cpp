// Entry points of the reports, one for each entry of the report table.
#include <array>
#include <span>
#include <variant>
#include <vector>

#include "bridge/arguments.h"
#include "bridge/exports/entry_point.h"
#include "bridge/row_stream.h"
#include "reports/report_definitions.h"
#include "reports/report_engine.h"

namespace zorvan::bridge {
namespace {

using reports::ReportDefinition;

using JavaArgument = std::variant<jlong, jstring>;

// What every report is passed.
struct ReportCall {
  CallObjects objects;
  jstring baseDn;
  JavaAttributes attributes;
};

// Whether the Java method passes what the report's parameters want: a long for a time, a String for
// anything else.
template <typename... Arguments>
consteval bool Takes(const ReportDefinition& report) {
  constexpr std::array<bool, sizeof...(Arguments)> kIsNumber{std::is_same_v<Arguments, jlong>...};
  if (report.parameters.size() != kIsNumber.size()) return false;
  for (std::size_t i = 0; i < kIsNumber.size(); ++i) {
    if ((report.parameters[i].kind == reports::ParameterKind::kTime) != kIsNumber[i]) return false;
  }
  return true;
}

reports::ReportArgument Read(JavaCall& java, const JavaArgument& argument) {
  if (const jlong* number = std::get_if<jlong>(&argument)) return std::int64_t{*number};
  return CopyJavaString(java, std::get<jstring>(argument));
}

jobject StreamReport(JNIEnv* env, const ReportDefinition& report, const ReportCall& call,
                     std::span<const JavaArgument> parameters) {
  return StreamToListener(env, call.objects, call.attributes,
                          [&](ExportFrame& frame, const auto& attributes, call::RowListener& rows) {
                            std::vector<reports::ReportArgument> arguments;
                            for (const JavaArgument& parameter : parameters) {
                              arguments.push_back(Read(frame.java(), parameter));
                            }
                            reports::RunReport(
                                frame.handler(), report,
                                {CopyJavaString(frame.java(), call.baseDn), attributes, arguments},
                                rows, frame.errors());
                          });
}

template <const ReportDefinition& report, typename... Arguments>
jobject StreamReport(JNIEnv* env, const ReportCall& call, Arguments... arguments) {
  static_assert(Takes<Arguments...>(report), "the report's parameters are not those of its method");
  const std::array<JavaArgument, sizeof...(Arguments)> parameters{JavaArgument(arguments)...};
  return StreamReport(env, report, call, parameters);
}

}  // namespace
}  // namespace zorvan::bridge

// Between the listener and the error list stand the parameters of the shape.
#define ZORVAN_DECLARE_NoParameters
#define ZORVAN_DECLARE_OneText jstring first,
#define ZORVAN_DECLARE_TwoTexts jstring first, jstring second,
#define ZORVAN_DECLARE_OneTime jlong first,
#define ZORVAN_DECLARE_TwoTimes jlong first, jlong second,
#define ZORVAN_DECLARE_OneController jstring first,
#define ZORVAN_DECLARE_ControllerAndTime jstring first, jlong second,
#define ZORVAN_PASS_NoParameters
#define ZORVAN_PASS_OneText , first
#define ZORVAN_PASS_TwoTexts , first, second
#define ZORVAN_PASS_OneTime , first
#define ZORVAN_PASS_TwoTimes , first, second
#define ZORVAN_PASS_OneController , first
#define ZORVAN_PASS_ControllerAndTime , first, second

// clang-format off
#define ZORVAN_REPORT(method, shape, ...)                                                         \
  ZORVAN_EXPORT(jobject, method)                                                                  \
  (JNIEnv* env, jobject, jobject settings, jstring baseDn, jobject attributes, jobject listener,  \
   ZORVAN_DECLARE_##shape jobject errors) {                                                       \
    return zorvan::bridge::StreamReport<zorvan::reports::definitions::method>(                    \
        env, {{{settings}, {listener}, {errors}}, baseDn, {attributes}} ZORVAN_PASS_##shape);     \
  }
// clang-format on
#include "reports/reports.def"
