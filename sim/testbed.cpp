// SPDX-License-Identifier: MIT
#include "sim/testbed.h"

#include <umockdev.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>

namespace tarni::sim {
namespace {

std::string in_sysfs(const std::string& path) {
  return "/sys" + path;
}

std::string take_text(gchar* text) {
  std::string out = text;
  g_free(text);
  return out;
}

}  // namespace

Testbed::Testbed() : testbed_(umockdev_testbed_new()) {
  if (umockdev_in_mock_environment() != FALSE) return;
  g_object_unref(testbed_);
  throw std::runtime_error("the simulated machine needs LD_PRELOAD=libumockdev-preload.so.0");
}

Testbed::~Testbed() {
  g_object_unref(testbed_);
}

void Testbed::add(const Record& record) {
  GError* error = nullptr;
  umockdev_testbed_add_from_string(testbed_, record.text().c_str(), &error);
  if (!error) return;
  const std::string message = record.path() + ": " + error->message;
  g_error_free(error);
  throw std::runtime_error(message);
}

void Testbed::remove(const Record& record) {
  const std::string path = in_sysfs(record.path());
  umockdev_testbed_uevent(testbed_, path.c_str(), "remove");
  umockdev_testbed_remove_device(testbed_, path.c_str());
  remove_links(record);
}

// umockdev leaves some links and nodes behind, which would dangle and be in the
// way of the next device of that name.
void Testbed::remove_links(const Record& record) {
  const std::string subsystem = record.property("SUBSYSTEM");
  const std::string number = record.property("MAJOR") + ":" + record.property("MINOR");
  std::vector<std::string> names{"/sys/class/" + subsystem + "/" + record.name(),
                                 "/sys/bus/" + subsystem + "/devices/" + record.name(),
                                 "/sys/dev/char/" + number, "/sys/dev/block/" + number};
  if (subsystem == "block") names.push_back("/sys/block/" + record.name());
  if (std::string node = record.node(); !node.empty()) {
    names.push_back("/dev/" + node);
    std::replace(node.begin(), node.end(), '/', '_');
    names.push_back("/dev/.node/" + node);
  }
  for (const std::string& name : names) {
    std::error_code ignored;
    std::filesystem::remove(root() + name, ignored);
  }
}

void Testbed::set_attribute(const std::string& path, const std::string& name,
                            const std::string& bytes) {
  std::vector<guint8> copy(bytes.begin(), bytes.end());
  umockdev_testbed_set_attribute_binary(testbed_, in_sysfs(path).c_str(), name.c_str(), copy.data(),
                                        static_cast<gint>(copy.size()));
}

void Testbed::remove_attribute(const std::string& path, const std::string& name) {
  std::filesystem::remove(root() + in_sysfs(path) + "/" + name);
}

std::string Testbed::root() const {
  return take_text(umockdev_testbed_get_root_dir(testbed_));
}

}  // namespace tarni::sim
