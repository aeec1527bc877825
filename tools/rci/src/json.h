// json.h: JSON as rci writes it.
//
// Private header of rci.
#ifndef RCI_JSON_H
#define RCI_JSON_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Rci {

// An object whose keys keep the order in which they were added.
class JsonObject {
public:
    JsonObject& add(std::string_view key, std::string_view text);
    JsonObject& add(std::string_view key, std::int64_t number);
    JsonObject& add(std::string_view key, const std::vector<std::string>& texts);
    JsonObject& addFlag(std::string_view key, bool value);
    JsonObject& addAll(const JsonObject& other);

    // On one line.
    std::string text() const { return "{" + members_ + "}"; }

private:
    JsonObject& addValue(std::string_view key, const std::string& value);

    std::string members_;
};

// With one object per line.
std::string jsonArray(const std::vector<JsonObject>& objects);

}  // namespace Rci

#endif
