// SPDX-License-Identifier: MIT
#include "table.h"

#include <algorithm>
#include <numeric>

#include "text.h"
#include "words.h"

namespace tarni::cli {
namespace {

using Row = std::vector<std::string>;

constexpr std::size_t kDeviceColumn = 3;
constexpr std::size_t kSysfsColumn = 5;
constexpr std::size_t kNarrowestDevice = 12;
constexpr std::size_t kGapColumns = 2;

std::string or_nothing(const std::string& text) {
  return text.empty() ? kNothing : text;
}

Row titles() {
  return {"PORT", "ID", "CLASS", "DEVICE", "NODES", "SYSFS"};
}

Row row_of(const std::string& first, const Device& device) {
  return {first,
          device.identity(),
          class_words(device.info.dev_cls),
          device_label(device),
          joined_nodes(device),
          or_nothing(printable(device.sysfs_path()))};
}

std::vector<std::size_t> widths_of(const std::vector<Row>& rows) {
  std::vector<std::size_t> widths(rows.front().size(), 0);
  for (const Row& row : rows)
    for (std::size_t i = 0; i < row.size(); ++i)
      widths[i] = std::max(widths[i], display_width(row[i]));
  return widths;
}

std::size_t total_of(const std::vector<std::size_t>& widths) {
  return std::accumulate(widths.begin(), widths.end(), kGapColumns * (widths.size() - 1));
}

void fit(std::vector<Row>& rows, std::size_t columns) {
  if (columns == 0 || total_of(widths_of(rows)) <= columns) return;
  for (Row& row : rows) row.resize(kSysfsColumn);
  const std::vector<std::size_t> widths = widths_of(rows);
  const std::size_t total = total_of(widths);
  if (total <= columns) return;
  const std::size_t excess = std::min(total - columns, widths[kDeviceColumn]);
  const std::size_t width = std::max(widths[kDeviceColumn] - excess, kNarrowestDevice);
  for (Row& row : rows) row[kDeviceColumn] = cut_to_width(row[kDeviceColumn], width);
}

std::string joined(const Row& row, const std::vector<std::size_t>& widths) {
  std::string line;
  for (std::size_t i = 0; i + 1 < row.size(); ++i) line += padded(row[i], widths[i] + kGapColumns);
  return line + row.back() + "\n";
}

}  // namespace

std::string device_label(const Device& device) {
  const std::string maker = printable(device.manufacturer());
  const std::string product = printable(device.product());
  if (maker.empty() || product.empty()) return or_nothing(maker + product);
  // Many products name their maker themselves.
  return product.compare(0, maker.size(), maker) == 0 ? product : maker + " " + product;
}

std::string joined_nodes(const Device& device) {
  std::string text;
  for (const std::string& node : device.nodes) text += (text.empty() ? "" : " ") + node;
  return or_nothing(text);
}

std::string padded(const std::string& text, std::size_t width) {
  const std::size_t used = display_width(text);
  return text + std::string(used < width ? width - used : 0, ' ');
}

std::string device_table(const std::vector<std::string>& first_column,
                         const std::vector<Device>& devices, std::size_t columns) {
  std::vector<Row> rows = {titles()};
  for (std::size_t i = 0; i < devices.size(); ++i)
    rows.push_back(row_of(first_column[i], devices[i]));
  fit(rows, columns);
  const std::vector<std::size_t> widths = widths_of(rows);
  std::string text;
  for (const Row& row : rows) text += joined(row, widths);
  return text;
}

}  // namespace tarni::cli
