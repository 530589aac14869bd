// Lists of lines with an object for each.
#pragma once

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "kb/platform/Object.h"

namespace kb {

class TEncoding;

/// What a sorted list does with a line that it holds already: keep the old one, take both, or raise EListError.
enum TDuplicates { dupIgnore, dupAccept, dupError };

/// A list of text lines, each with an object that the list does not own. Abstract: lists differ in where the
/// lines are kept. Indices count from 0; a bad one raises EListError "List index out of bounds (%d)".
class TStrings : public TPersistent {
 public:
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }

  [[nodiscard]] virtual int GetCount() const noexcept = 0;
  /// The line at `index`; the reference holds until the list changes.
  [[nodiscard]] virtual const std::string& Get(int index) const = 0;
  /// Replaces the line at `index`, keeping its object.
  virtual void Put(int index, std::string_view line) = 0;
  /// The object at `index`, null by default; the list never frees it.
  [[nodiscard]] virtual TObject* GetObject(int index) const;
  /// Sets the object at `index`; a list that keeps no objects ignores it.
  virtual void PutObject(int index, TObject* object);

  /// Appends a line, or puts it in its place in a sorted list. Gives the index where it stands.
  virtual int Add(std::string_view line);
  /// The same with an object.
  virtual int AddObject(std::string_view line, TObject* object);
  /// Appends the lines and objects of another list, in its order.
  virtual void AddStrings(const TStrings& source);
  /// Puts a line in front of the one at `index`; `index` may be the count.
  virtual void Insert(int index, std::string_view line) = 0;
  virtual void Delete(int index) = 0;
  virtual void Exchange(int first, int second) = 0;
  virtual void Clear() = 0;
  /// Index of the first line equal to `line` in the list's own comparison, by default without regard to case,
  /// or -1.
  [[nodiscard]] virtual int IndexOf(std::string_view line) const;
  /// Index of the first line with that object, or -1. Linear.
  [[nodiscard]] int IndexOfObject(const TObject* object) const;

  /// All lines, each followed by CR LF.
  [[nodiscard]] std::string GetText() const;
  /// Replaces all lines; CR, LF and CR LF each end one, and a last line may lack its end.
  void SetText(std::string_view text);
  /// Replaces all lines by the text of the stream. Null means UTF-8; a mark in the stream decides. Raises
  /// EStreamError when the stream cannot be read, with the lines unchanged.
  void LoadFromStream(std::istream& stream, const TEncoding* encoding = nullptr);
  /// Writes the encoding's mark and GetText. Raises EStreamError when the stream cannot be written.
  void SaveToStream(std::ostream& stream, const TEncoding* encoding = nullptr) const;

  /// From another TStrings: its lines and objects replace those of this list. Else as TPersistent.
  void Assign(const TPersistent& source) override;

  /// Between the two the change event waits; they nest. It fires once at the last EndUpdate if there was a change.
  void BeginUpdate() noexcept { ++updating_; }
  void EndUpdate();
  [[nodiscard]] bool IsUpdating() const noexcept { return updating_ > 0; }

  /// Called after a change, outside any update.
  std::function<void(TStrings&)> OnChange;

 protected:
  /// Reports a change: fires OnChange, now or when the update ends. Overrides call the base.
  virtual void Changed();
  /// Raises the error for a bad index unless 0 <= index < count.
  void CheckIndex(int index, int count) const;
  /// Runs `work` inside an update, which ends also when `work` raises an exception.
  template <class Work>
  void Update(Work&& work) {
    BeginUpdate();
    try {
      work();
    } catch (...) {
      EndUpdate();
      throw;
    }
    EndUpdate();
  }

 private:
  int updating_ = 0;
  bool changed_ = false;
};

/// Keeps lines in memory, with sorting. What belongs to each line is kept by descendants, which follow the
/// lines through the protected operations at the end.
///
/// In a sorted list Add finds the place by bisection and obeys the duplicates mode; Insert, Put and Exchange
/// raise EListError. In an unsorted list the mode has no effect. Equal lines of a sorted list stand in order
/// of arrival.
class TCustomStringList : public TStrings {
 public:
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }

  [[nodiscard]] int GetCount() const noexcept override { return static_cast<int>(lines_.size()); }
  [[nodiscard]] const std::string& Get(int index) const override;
  void Put(int index, std::string_view line) override;
  int Add(std::string_view line) override;
  void Insert(int index, std::string_view line) override;
  void Delete(int index) override;
  void Exchange(int first, int second) override;
  void Clear() override;
  /// Logarithmic in a sorted list, else linear.
  [[nodiscard]] int IndexOf(std::string_view line) const override;

  /// Whether `line` is in the sorted list; `index` becomes its first place, or the place where it belongs. On
  /// an unsorted list the result has no meaning. Logarithmic.
  bool Find(std::string_view line, int& index) const;
  /// Sorts once, stable; does not make the list a sorted one.
  void Sort();

  /// Sorted lists stay sorted. Off by default; switching it on sorts.
  [[nodiscard]] bool GetSorted() const noexcept { return sorted_; }
  void SetSorted(bool value);
  /// dupIgnore by default; counts for sorted lists.
  [[nodiscard]] TDuplicates GetDuplicates() const noexcept { return duplicates_; }
  void SetDuplicates(TDuplicates value) noexcept { duplicates_ = value; }
  /// Whether lines that differ in case are different. Off by default; a change sorts a sorted list anew.
  [[nodiscard]] bool GetCaseSensitive() const noexcept { return caseSensitive_; }
  void SetCaseSensitive(bool value);

 protected:
  /// A line for which `added` is false stood there before; its datum stays as it was.
  struct TPlace {
    int index;
    bool added;
  };
  /// Add, telling whether a line came in.
  TPlace AddLine(std::string_view line);

  /// Keep what belongs to the lines in step with them; called before the lines themselves change, so that one
  /// that raises an exception leaves the list as it was.
  virtual void InsertDatum(int index) = 0;
  virtual void DeleteDatum(int index) noexcept = 0;
  virtual void ExchangeData(int first, int second) noexcept = 0;
  virtual void ClearData() noexcept = 0;
  /// The new datum i is the old datum order[i].
  virtual void PermuteData(const std::vector<size_t>& order) = 0;

 private:
  [[nodiscard]] int Compare(std::string_view a, std::string_view b) const noexcept;
  void InsertLine(int index, std::string_view line);
  void CheckUnsorted() const;

  std::vector<std::string> lines_;  // in the order of the indices
  TDuplicates duplicates_ = dupIgnore;
  bool sorted_ = false;
  bool caseSensitive_ = false;
};

/// The list of lines that hosts use: in memory, an object for each line.
class TStringList : public TCustomStringList {
 public:
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }

  [[nodiscard]] TObject* GetObject(int index) const override;
  void PutObject(int index, TObject* object) override;
  int AddObject(std::string_view line, TObject* object) override;

 protected:
  void InsertDatum(int index) override;
  void DeleteDatum(int index) noexcept override;
  void ExchangeData(int first, int second) noexcept override;
  void ClearData() noexcept override;
  void PermuteData(const std::vector<size_t>& order) override;

 private:
  std::vector<TObject*> objects_;  // one for each line, not owned
};

}  // namespace kb
