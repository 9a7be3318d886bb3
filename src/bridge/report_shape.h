// The shapes of a report's parameters in its Java declaration, and which definitions agree with
// them.
#pragma once

#include <algorithm>
#include <initializer_list>

#include "reports/report_table.h"

namespace zorvan::bridge {

enum class ReportShape {
  NoParameters,
  OneText,            // String
  TwoTexts,           // String, String
  OneTime,            // long
  TwoTimes,           // long, long
  OneController,      // String
  ControllerAndTime,  // String, long
};

enum class ParameterType { kText, kTime, kController };

constexpr ParameterType TypeOf(reports::ParameterKind kind) {
  switch (kind) {
    case reports::ParameterKind::kTime:
      return ParameterType::kTime;
    case reports::ParameterKind::kController:
      return ParameterType::kController;
    default:
      return ParameterType::kText;
  }
}

inline bool HasShape(const reports::ReportDefinition& report, ReportShape shape) {
  using enum ParameterType;
  const auto takes = [&report](std::initializer_list<ParameterType> types) {
    return std::equal(
        report.parameters.begin(), report.parameters.end(), types.begin(), types.end(),
        [](const auto& parameter, ParameterType type) { return TypeOf(parameter.kind) == type; });
  };
  switch (shape) {
    case ReportShape::NoParameters:
      return takes({});
    case ReportShape::OneText:
      return takes({kText});
    case ReportShape::TwoTexts:
      return takes({kText, kText});
    case ReportShape::OneTime:
      return takes({kTime});
    case ReportShape::TwoTimes:
      return takes({kTime, kTime});
    case ReportShape::OneController:
      return takes({kController});
    case ReportShape::ControllerAndTime:
      return takes({kController, kTime});
  }
  return false;
}

}  // namespace zorvan::bridge
