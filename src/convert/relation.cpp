#include "convert/relation.h"

#include <algorithm>
#include <iterator>

#include "copybook/lexer.h"

namespace tolvane {
namespace {

const Relation* Find(auto matches) {
  const auto* const found = std::find_if(std::begin(kRelations), std::end(kRelations), matches);
  return found != std::end(kRelations) ? found : nullptr;
}

}  // namespace

const Relation* RelationOf(std::string_view name) {
  return Find([name](const Relation& relation) { return relation.name == name; });
}

const Relation* RelationOf(const copybook::Token& token) {
  return Find([&token](const Relation& relation) { return token.Is(relation.sign); });
}

}  // namespace tolvane
