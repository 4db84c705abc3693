#include "Edit/JsonValidator.h"

#include <valijson/adapters/nlohmann_json_adapter.hpp>
#include <valijson/schema.hpp>
#include <valijson/schema_parser.hpp>
#include <valijson/validation_results.hpp>
#include <valijson/validator.hpp>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

namespace Kaltor::Edit {

class JsonValidator::Impl {
public:
    explicit Impl(Json const& text) {
        nlohmann::json const json(text);
        valijson::SchemaParser parser;
        parser.populateSchema(valijson::adapters::NlohmannJsonAdapter(json), schema);
    }

    std::string FindError(Json const& document) const {
        nlohmann::json const json(document);
        valijson::Validator validator;
        valijson::ValidationResults results;
        if (validator.validate(schema, valijson::adapters::NlohmannJsonAdapter(json), &results)) {
            return {};
        }
        // The first one is the innermost.
        valijson::ValidationResults::Error error;
        results.popError(error);
        std::string place;
        for (std::string const& step : error.context) {
            if (step.size() > 2 && step.front() == '[') {
                place += (place.empty() ? "" : "/") + step.substr(1, step.size() - 2);
            }
        }
        return place.empty() ? error.description : fmt::format("{}: {}", place, error.description);
    }

private:
    valijson::Schema schema;
};

JsonValidator::JsonValidator(Json const& schema) : impl(std::make_unique<Impl>(schema)) {}
JsonValidator::~JsonValidator() = default;

std::string JsonValidator::FindError(Json const& document) const {
    return impl->FindError(document);
}

}  // namespace Kaltor::Edit
