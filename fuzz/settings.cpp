// The settings store survives any file and keeps the values that are set.

#include "qx/settings.h"

#include "input.h"
#include "world.h"

#include <string>

namespace {

using qx::setMgmt;
using qx::fuzz::check;

constexpr const char* kDefault = "\xff not UTF-8, so no value";

std::string value_of(const std::string& key) {
    return setMgmt::getKeyValue(key, kDefault);
}

void read_again() {
    setMgmt::uninit();
    check(setMgmt::init() == 0, "a store that was written can be read");
}

void change(const std::string& key, const std::string& value) {
    const std::string before = value_of(key);
    if (setMgmt::setKey(key, value) == 0) {
        check(value_of(key) == value, "a value that was set can be read");
        read_again();
        check(value_of(key) == value, "a value that was set is saved");
        check(setMgmt::deleteKey(key) == 0, "a key can be deleted");
    } else {
        check(value_of(key) == before, "a refused value changes nothing");
    }
    const std::string after = value_of(key);
    read_again();
    check(value_of(key) == after, "the value in memory equals the stored value");
}

} // namespace

/// Input: a key and a value, each up to a line feed, and the content of the settings file.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const qx::fuzz::DescriptorCheck descriptors;
    const qx::fuzz::Capture err(stderr);
    qx::fuzz::Input input(data, size);
    const std::string key = input.until('\n');
    const std::string value = input.until('\n');
    const std::string content = input.rest();
    qx::test::write_file(qx::test::kSettingsFile, content);
    if (setMgmt::init() == 0) {
        const int number = setMgmt::getKeyValue(key, 7);
        const std::string text = value_of(key);
        check(number == 7 || std::to_string(number) == text || text.size() > 1,
              "the integer value of a key equals its text value");
        change(key, value);
        setMgmt::uninit();
        return 0;
    }
    const std::string line = err.text();
    check(line.find('\n') == line.size() - 1, "a damaged store is reported in one line");
    check(setMgmt::setKey(key, value) < 0, "a damaged store refuses writes");
    check(qx::test::read_file(qx::test::kSettingsFile) == content,
          "a damaged store is not changed");
    return 0;
}
