#include "tidewell/core/foundation/TWModelObject.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/CoreFixture.h"
#include "tidewell/base/Exception.h"
#include "tidewell/runtime/KeyValueCoding.h"

namespace tidewell {
namespace {

class Banner : public runtime::Subclass<Banner, TWModelObject> {
 public:
  explicit Banner(std::string linkTo = "") : link(std::move(linkTo)) {}
  std::string link;
  std::shared_ptr<Banner> next;
  static void describe(runtime::ClassBuilder<Banner>& c) {
    c.property<&Banner::link>("link").property<&Banner::next>("next");
  }
};

class Campaign : public runtime::Subclass<Campaign, TWModelObject> {
 public:
  using Subclass::Subclass;
  std::optional<std::string> title;
  std::shared_ptr<Banner> banner;
  base::Array banners;
  base::Value extra;
  static void describe(runtime::ClassBuilder<Campaign>& c) {
    c.property<&Campaign::title>("title")
        .property<&Campaign::banner>("banner")
        .property<&Campaign::banners>("banners")
        .property<&Campaign::extra>("extra");
  }
};

class Sale : public runtime::Subclass<Sale, Campaign> {
 public:
  double discount = 0.5;
  static void describe(runtime::ClassBuilder<Sale>& c) { c.property<&Sale::discount>("discount"); }
};

TEST(ModelObject, PropertiesThatAreThereInTheirOrder) {
  const auto campaign = runtime::make<Campaign>(base::Dictionary{{"title", "ignored"}});
  EXPECT_EQ(campaign->dictionaryWithProperties(), (base::Dictionary{{"banners", base::Array{}}}));

  const auto banner = runtime::make<Banner>("shop:cart");
  campaign->title = "Sale";
  campaign->banner = banner;
  campaign->banners.addObject(runtime::objectValue(banner));
  campaign->extra = base::Value::null();
  const base::Dictionary dictionary = campaign->dictionaryWithProperties();
  EXPECT_EQ(dictionary.allKeys(), (std::vector<std::string>{"title", "banner", "banners", "extra"}));
  EXPECT_EQ(dictionary.objectForKey("banner"), base::Value(base::Dictionary{{"link", "shop:cart"}}));
  EXPECT_EQ(runtime::objectOf(dictionary.objectForKey("banners").array()->objectAtIndex(0)), banner);
  EXPECT_TRUE(dictionary.objectForKey("extra").isNull());
}

TEST(ModelObject, OnlyTheObjectsOwnClassCounts) {
  const auto sale = runtime::make<Sale>();
  EXPECT_EQ(sale->dictionaryWithProperties(), (base::Dictionary{{"discount", 0.5}}));
  runtime::Class& below = *runtime::allocateClassPair(&sale->isa(), "Below");
  runtime::registerClassPair(below);
  runtime::setClass(sale.get(), below);
  EXPECT_TRUE(sale->dictionaryWithProperties().empty());
}

TEST(ModelObject, ObjectsThatHoldEachOtherRaise) {
  const auto banner = runtime::make<Banner>("a");
  banner->next = runtime::make<Banner>("b");
  banner->next->next = banner;
  EXPECT_THROW((void)banner->dictionaryWithProperties(), base::Exception);
  banner->next->next = nullptr;  // the depth is counted anew
  EXPECT_EQ(banner->dictionaryWithProperties().count(), 2u);
}

}  // namespace
}  // namespace tidewell
