#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace norvane::engine {

/// One open SQLite file (https://sqlite.org/c3ref/intro.html), used by one thread at a time. Failures throw
/// StoreError with the file's name and SQLite's message: Unreadable for what is not or no longer a
/// database.
class Database {
 public:
  enum class Mode { Create, New, Write, AsIs };

  /// `Create` makes the file if there is none, mode 0600, and so does `New`, where there must be none.
  /// `Write` also rolls back what a killed process left half done; a file on a read-only medium is opened for
  /// reading alone. `AsIs` reads what there is, half done or not. A symbolic link in the place of the file is
  /// refused, but one to its folder is followed.
  Database(const std::string& path, Mode mode);

  /// Runs statements that give no rows.
  void Run(const std::string& sql);
  /// Writes a compact copy, mode 0600, to a path where there is no file. It isn't synced.
  void CopyTo(const std::string& path);
  /// The first column of the first row as a number.
  [[nodiscard]] std::int64_t Number(const std::string& sql);
  /// The first column of the first row as text; empty without a row.
  [[nodiscard]] std::string Text(const std::string& sql);
  /// `Write` has found that it may not.
  [[nodiscard]] bool IsReadOnly() const;
  /// How many rows the last statement has changed.
  [[nodiscard]] std::int64_t Changed() const;

 private:
  friend class Statement;
  struct Close {
    void operator()(sqlite3* db) const noexcept;
  };
  [[noreturn]] void Fail() const;

  std::string m_path;
  std::unique_ptr<sqlite3, Close> m_db;
};

/// A prepared statement. Bound text is not copied: it must live until the next `Step` has returned.
class Statement {
 public:
  Statement(Database& database, const std::string& sql);

  /// Positions count from 1.
  Statement& Bind(int position, std::string_view text);
  Statement& Bind(int position, std::int64_t number);
  Statement& BindBytes(int position, std::string_view bytes);
  /// True if there is a row; after the last one the statement is ready to be bound and run again.
  bool Step();

  /// Columns count from 0; the view holds until the next `Step`.
  [[nodiscard]] std::string_view TextAt(int column) const;
  [[nodiscard]] std::int64_t NumberAt(int column) const;
  [[nodiscard]] std::string_view BytesAt(int column) const;

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const noexcept;
  };
  Database& m_database;
  std::unique_ptr<sqlite3_stmt, Finalize> m_statement;
};

/// All or nothing: rolls back unless `Commit` was reached.
class Transaction {
 public:
  explicit Transaction(Database& database);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  void Commit();

 private:
  Database& m_database;
  bool m_open = true;
};

}  // namespace norvane::engine
