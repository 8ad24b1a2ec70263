#pragma once

#include <algorithm>
#include <array>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "programs/tables/json/InputError.h"
#include "programs/tables/kinds/TableKind.h"
#include "programs/tables/kinds/refusals.h"

namespace vantor::tables {

/// What is the same for all tables of which an output has any number.
template <typename Item, std::vector<Item> TableSet::*Member>
class TableListKind : public TableKind {
 public:
  using TableKind::TableKind;

  bool isIn(const TableSet& set) const override { return !(set.*Member).empty(); }
  void move(TableSet& from, TableSet& to) const override {
    for (Item& item : from.*Member) put(std::move(item), to);
  }
  /// One bad table does not hide the next one: throws InputErrors.
  void read(const JsonValue& value, UtcTime now, TableSet& set) const override {
    std::map<Identity, std::size_t> seen;
    InputErrors errors;
    for (std::size_t i = 0; i < value.size(); ++i)
      errors.gather([&] { readElement(value.at(i), i, now, seen, set); });
    errors.throwIfAny();
  }
  OrderedJson write(const TableSet& set) const override {
    OrderedJson json = OrderedJson::array();
    for (const Item& item : set.*Member) json.push_back(writeItem(item, set));
    return json;
  }

  bool isSingle() const override { return false; }
  std::optional<Refusal> decode(const SubtableKey& key, const std::vector<Section>& sections,
                                TableSet& set) const override {
    Item item = decodeItem(key, sections);
    if (auto refusal = whyUnsendable(item)) return refusal;
    put(std::move(item), set);
    return std::nullopt;
  }

  std::vector<std::string> warnings(const TableSet& set) const override {
    std::vector<std::string> out;
    for (const Item& item : set.*Member) warnOfVersion(nameOf(item), versionOf(item), out);
    return out;
  }

 protected:
  /// The identifiers that no two tables of a set share.
  using Identity = std::array<std::int32_t, 4>;

  virtual Identity identityOf(const Item& item) const = 0;
  virtual psi::TableKey tableKeyOf(const Item& item) const = 0;
  std::string nameOf(const Item& item) const { return psi::tableName(tableKeyOf(item)); }
  virtual std::int32_t versionOf(const Item& item) const = 0;
  /// Most elements of the JSON array are one table.
  virtual std::vector<Item> readItems(const JsonValue& value, UtcTime now) const = 0;
  /// An item of the set, which tells what its descriptors mean.
  virtual OrderedJson writeItem(const Item& item, const TableSet& set) const = 0;
  virtual Item decodeItem(const SubtableKey& key, const std::vector<Section>& sections) const = 0;
  virtual std::optional<Refusal> whyUnsendable(const Item& item) const { return check(item); }
  /// The refusal of one of the items that an element was read to, with its path as the element has it.
  virtual std::optional<Refusal> inElement(std::optional<Refusal> refusal, const std::vector<Item>& /*items*/,
                                           std::size_t /*refused*/) const {
    return refusal;
  }

  void readElement(const JsonValue& value, std::size_t index, UtcTime now, std::map<Identity, std::size_t>& seen,
                   TableSet& set) const {
    std::vector<Item> items = readItems(value, now);
    for (std::size_t n = 0; n < items.size(); ++n)
      throwIfRefused(value, inElement(whyUnsendable(items[n]), items, n));
    for (Item& item : items) {
      const auto [first, isNew] = seen.try_emplace(identityOf(item), index);
      if (!isNew) value.fail("the same table as in /" + std::string(key()) + "/" + std::to_string(first->second));
      put(std::move(item), set);
    }
  }

  /// In its place among the others, over the one with the same identity.
  void put(Item item, TableSet& set) const {
    std::vector<Item>& items = set.*Member;
    const Identity identity = identityOf(item);
    const auto place =
        std::lower_bound(items.begin(), items.end(), identity,
                         [this](const Item& other, const Identity& id) { return identityOf(other) < id; });
    if (place != items.end() && identityOf(*place) == identity)
      *place = std::move(item);
    else
      items.insert(place, std::move(item));
  }
};

}  // namespace vantor::tables
