#pragma once

#include <algorithm>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "programs/tables/json/InputError.h"
#include "programs/tables/kinds/TableKind.h"
#include "programs/tables/kinds/refusals.h"

namespace vantor::tables {

/// The record that an item of a set has: most are the record.
template <typename Item>
Item& recordOf(Item& item) {
  return item;
}

/// Whether an item has a version_number: whole sections have it inside, those that have one.
template <typename Item>
constexpr bool kHasVersion = !std::is_same_v<Item, thrift::dvb_tables::Sections>;

/// What is the same for all tables of which an output has any number.
template <typename Item, std::vector<Item> TableSet::*Member>
class TableListKind : public TableKind {
 public:
  using TableKind::TableKind;

  bool isIn(const TableSet& set) const override { return !(set.*Member).empty(); }
  void move(TableSet& from, TableSet& to) const override { putAll(std::exchange(from.*Member, {}), to); }
  /// One bad table does not hide the next one: throws InputErrors.
  void read(const JsonValue& value, UtcTime now, TableSet& set) const override {
    Reader reader(*this, now);
    InputErrors errors;
    for (std::size_t i = 0; i < value.size(); ++i) errors.gather([&] { reader.take(value.at(i)); });
    errors.throwIfAny();
    reader.finish(set);
  }
  std::unique_ptr<ElementReader> elements(UtcTime now) const override {
    return std::make_unique<Reader>(*this, now);
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
    if constexpr (kHasVersion<Item>)
      for (const Item& item : set.*Member) warnOfVersion(nameOf(item), recordOf(item).version_number, out);
    return out;
  }

  std::vector<TableInSet> tablesIn(TableSet& set) const override {
    Digester digester;
    std::vector<TableInSet> tables;
    tables.reserve((set.*Member).size());
    for (Item& item : set.*Member) {
      auto& record = recordOf(item);
      if constexpr (kHasVersion<Item>)
        tables.push_back(
            {identityOf(item), digester.addContent(record).finish(), &record.version_number, placeOf(item)});
      else
        tables.push_back({identityOf(item), digester.addRecord(record).finish(), nullptr, placeOf(item)});
    }
    return tables;
  }
  std::string nameOf(const TableSet& set, std::size_t table) const override { return nameOf((set.*Member)[table]); }
  bool putOnAir(const TableSet& set, std::size_t table, UtcTime /*now*/, serviceMux& mux) const override {
    return send((set.*Member)[table], mux);
  }

 protected:
  using Identity = TableInSet::Identity;

  virtual Identity identityOf(const Item& item) const = 0;
  virtual psi::TableKey tableKeyOf(const Item& item) const = 0;
  std::string nameOf(const Item& item) const { return psi::tableName(tableKeyOf(item)); }
  /// Most elements of the JSON array are one table.
  virtual std::vector<Item> readItems(const JsonValue& value, UtcTime now) const = 0;
  /// An item of the set, which tells what its descriptors mean.
  virtual OrderedJson writeItem(const Item& item, const TableSet& set) const = 0;
  virtual Item decodeItem(const SubtableKey& key, const std::vector<Section>& sections) const = 0;
  virtual std::optional<Refusal> whyUnsendable(const Item& item) const { return check(item); }
  /// Where it is sent, for tables that are not always sent in the same place.
  virtual std::int32_t placeOf(const Item& /*item*/) const { return 0; }
  virtual bool send(const Item& item, serviceMux& mux) const = 0;
  /// The refusal of one of the items that an element was read to, with its path as the element has it.
  virtual std::optional<Refusal> inElement(std::optional<Refusal> refusal, const std::vector<Item>& /*items*/,
                                           std::size_t /*refused*/) const {
    return refusal;
  }

  /// In its place among the others, over the one with the same identity.
  void put(Item item, TableSet& set) const {
    std::vector<Item>& items = set.*Member;
    const Identity identity = identityOf(item);
    const auto place = positionOf(identity, items);
    if (place != items.end() && identityOf(*place) == identity)
      *place = std::move(item);
    else
      items.insert(place, std::move(item));
  }

  /// Null when there is none.
  const Item* find(const Identity& identity, const TableSet& set) const {
    const auto place = positionOf(identity, set.*Member);
    return place != (set.*Member).end() && identityOf(*place) == identity ? &*place : nullptr;
  }

  /// Takes the one with this identity out, if there is one.
  void drop(const Identity& identity, TableSet& set) const {
    std::vector<Item>& items = set.*Member;
    const auto place = positionOf(identity, items);
    if (place != items.end() && identityOf(*place) == identity) items.erase(place);
  }

 private:
  /// Of the item with this identity, or where it would be. `Items` is the list or the constant list.
  template <typename Items>
  auto positionOf(const Identity& identity, Items& items) const {
    return std::lower_bound(items.begin(), items.end(), identity,
                            [this](const Item& other, const Identity& id) { return identityOf(other) < id; });
  }

  class Reader : public ElementReader {
   public:
    Reader(const TableListKind& kind, UtcTime now) : kind(kind), now(now) {}

    void take(const JsonValue& element) override {
      const std::size_t index = count++;
      std::vector<Item> items = kind.readItems(element, now);
      for (std::size_t n = 0; n < items.size(); ++n)
        throwIfRefused(element, kind.inElement(kind.whyUnsendable(items[n]), items, n));
      for (Item& item : items) {
        const auto [first, isNew] = seen.try_emplace(kind.identityOf(item), index);
        if (!isNew)
          element.fail("the same table as in /" + std::string(kind.key()) + "/" + std::to_string(first->second));
        read.push_back(std::move(item));
      }
    }

    void finish(TableSet& set) override {
      std::sort(read.begin(), read.end(),
                [this](const Item& a, const Item& b) { return kind.identityOf(a) < kind.identityOf(b); });
      kind.putAll(std::move(read), set);
    }

   private:
    const TableListKind& kind;
    const UtcTime now;
    std::size_t count = 0;
    std::map<Identity, std::size_t> seen;  // and the elements that they were in
    std::vector<Item> read;
  };

  /// The same for items in their order.
  void putAll(std::vector<Item> items, TableSet& set) const {
    std::vector<Item>& there = set.*Member;
    if (there.empty()) {
      there = std::move(items);
      return;
    }
    std::vector<Item> all;
    all.reserve(items.size() + there.size());
    std::set_union(std::make_move_iterator(items.begin()), std::make_move_iterator(items.end()),
                   std::make_move_iterator(there.begin()), std::make_move_iterator(there.end()),
                   std::back_inserter(all),
                   [this](const Item& a, const Item& b) { return identityOf(a) < identityOf(b); });
    there = std::move(all);
  }
};

}  // namespace vantor::tables
