#include "tests/statements/transact_sql_grammar.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <sstream>
#include <vector>

namespace vnq {
namespace {

// The reserved words of the language's reference.
const std::set<std::string>& ReservedWords() {
  static const std::set<std::string> words = [] {
    std::istringstream listed(
        "add all alter and any as asc authorization backup begin between break browse bulk "
        "by cascade case check checkpoint close clustered coalesce collate column commit "
        "compute constraint contains containstable continue convert create cross current "
        "current_date current_time current_timestamp current_user cursor database dbcc "
        "deallocate declare default delete deny desc disk distinct distributed double drop "
        "dump else end errlvl escape except exec execute exists exit external fetch file "
        "fillfactor for foreign freetext freetexttable from full function goto grant group "
        "having holdlock identity identity_insert identitycol if in index inner insert "
        "intersect into is join key kill left like lineno load merge national nocheck "
        "nonclustered not null nullif of off offsets on open opendatasource openquery "
        "openrowset openxml option or order outer over percent pivot plan precision "
        "primary print proc procedure public raiserror read readtext reconfigure "
        "references replication restore restrict return revert revoke right rollback "
        "rowcount rowguidcol rule save schema securityaudit select session_user set "
        "setuser shutdown some statistics system_user table tablesample textsize then to "
        "top tran transaction trigger truncate try_convert tsequal union unique unpivot "
        "update updatetext use user values varying view waitfor when where while with "
        "within writetext");
    return std::set<std::string>(std::istream_iterator<std::string>(listed), {});
  }();
  return words;
}

struct Lexeme {
  enum class Kind { kName, kBracketed, kNumber, kText, kMarker, kSign, kEnd };
  Kind kind = Kind::kEnd;
  std::string text;  // names in lower case
  size_t place = 0;
};

char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}
bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}
bool BeginsName(char c) {
  return (Lower(c) >= 'a' && Lower(c) <= 'z') || c == '_' || static_cast<unsigned char>(c) >= 0x80;
}

class Lexer {
 public:
  explicit Lexer(std::string_view text) : text_(text) {}

  std::vector<Lexeme> Read() {
    std::vector<Lexeme> lexemes;
    do {
      lexemes.push_back(Next());
    } while (lexemes.back().kind != Lexeme::Kind::kEnd);
    return lexemes;
  }

 private:
  Lexeme Next() {
    while (at_ < text_.size() && (text_[at_] == ' ' || (text_[at_] >= 9 && text_[at_] <= 13)))
      ++at_;
    const size_t begin = at_;
    if (at_ == text_.size()) return {Lexeme::Kind::kEnd, "the end", begin};
    const char c = text_[at_];
    if (c == '\'' || (Lower(c) == 'n' && at_ + 1 < text_.size() && text_[at_ + 1] == '\'')) {
      at_ += c == '\'' ? 1 : 2;
      return Quoted('\'', Lexeme::Kind::kText, begin);
    }
    if (c == '[') {
      ++at_;
      return Quoted(']', Lexeme::Kind::kBracketed, begin);
    }
    if (BeginsName(c))
      return While([](char x) { return BeginsName(x) || IsDigit(x); }, Lexeme::Kind::kName, begin);
    if (IsDigit(c)) return While(IsDigit, Lexeme::Kind::kNumber, begin);
    ++at_;
    return {c == '?' ? Lexeme::Kind::kMarker : Lexeme::Kind::kSign, std::string(1, c), begin};
  }

  template <typename Belongs>
  Lexeme While(Belongs belongs, Lexeme::Kind kind, size_t begin) {
    std::string word;
    for (; at_ < text_.size() && belongs(text_[at_]); ++at_) word += Lower(text_[at_]);
    return {kind, word, begin};
  }

  // The end sign doubled stands for itself.
  Lexeme Quoted(char end, Lexeme::Kind kind, size_t begin) {
    std::string inside;
    for (; at_ < text_.size(); ++at_) {
      if (text_[at_] == end) {
        if (at_ + 1 == text_.size() || text_[at_ + 1] != end) {
          ++at_;
          return {kind, inside, begin};
        }
        ++at_;
      }
      inside += text_[at_];
    }
    return {Lexeme::Kind::kSign, "an open quote", begin};
  }

  std::string_view text_;
  size_t at_ = 0;
};

class Parser {
 public:
  explicit Parser(std::string_view text) : lexemes_(Lexer(text).Read()) {}

  std::string Error() {
    Statement();
    if (error_.empty() && lexemes_[at_].kind != Lexeme::Kind::kEnd)
      Fail("the end of the statement");
    return error_;
  }

 private:
  void Statement() {
    if (Take("select")) return Select();
    if (Take("insert")) return Insert();
    if (Take("update")) return Update();
    if (Take("delete")) return Delete();
    Fail("select, insert, update or delete");
  }

  void Select() {
    Take("distinct");
    if (Take("top")) {
      const bool bracket = TakeSign('(');
      Need(Lexeme::Kind::kNumber, "a number");
      if (bracket) NeedSign(')');
    }
    do {
      Column();
    } while (TakeSign(','));
    if (IsEnd()) return;  // a value without a table
    NeedWord("from");
    do {
      Table();
    } while (TakeSign(','));
    Where();
    if (!Take("order")) return;
    NeedWord("by");
    do {
      Term();
      if (!Take("asc")) Take("desc");
    } while (TakeSign(','));
  }

  void Column() {
    if (TakeSign('*')) return;
    if (IsName() && IsSign(1, '.') && IsSign(2, '*')) {
      at_ += 3;
      return;
    }
    Term();
    if (Take("as")) Name();
  }

  void Table() {
    Name();
    if (Take("as") || (IsName() && !IsReserved())) Name();
  }

  void Insert() {
    NeedWord("into");
    Name();
    if (Take("default")) return NeedWord("values");
    NeedSign('(');
    size_t names = 0, values = 0;
    do {
      Name();
      ++names;
    } while (TakeSign(','));
    NeedSign(')');
    NeedWord("values");
    NeedSign('(');
    do {
      Term();
      ++values;
    } while (TakeSign(','));
    NeedSign(')');
    if (error_.empty() && names != values) error_ = "another number of values than of columns";
  }

  void Top() {
    if (!Take("top")) return;
    NeedSign('(');
    Need(Lexeme::Kind::kNumber, "a number");
    NeedSign(')');
  }

  void Update() {
    Top();
    Name();
    NeedWord("set");
    do {
      Name();
      NeedSign('=');
      Term();
    } while (TakeSign(','));
    Where();
  }

  void Delete() {
    Top();
    NeedWord("from");
    Name();
    Where();
  }

  void Where() {
    if (Take("where")) Condition();
  }

  void Condition() {
    do {
      do {
        Take("not");
        Comparison();
      } while (Take("and"));
    } while (Take("or"));
  }

  // A bracket may hold a condition or a term; which one, the sign behind tells.
  void Comparison() {
    if (IsSign(0, '(')) {
      const size_t begin = at_;
      ++at_;
      Condition();
      if (TakeSign(')') && error_.empty() && !IsComparing()) return;
      error_.clear();
      at_ = begin;
    }
    Term();
    if (Take("is")) {
      Take("not");
      return NeedWord("null");
    }
    Take("not");
    if (Take("in")) return List();
    if (Take("like")) return Term();
    if (!TakeComparing()) return Fail("a comparison");
    Term();
  }

  bool IsComparing() const { return IsSign(0, '=') || IsSign(0, '<') || IsSign(0, '>'); }

  bool TakeComparing() {
    if (TakeSign('=')) return true;
    if (TakeSign('<')) return TakeSign('=') || TakeSign('>') || true;
    if (TakeSign('>')) return TakeSign('=') || true;
    return false;
  }

  void List() {
    NeedSign('(');
    if (Take("select")) {
      Select();
    } else {
      do {
        Term();
      } while (TakeSign(','));
    }
    NeedSign(')');
  }

  void Term() {
    do {
      Factor();
      if (Take("collate")) Name();
    } while (TakeSign('+') || TakeSign('-') || TakeSign('*') || TakeSign('/'));
  }

  void Factor() {
    if (TakeSign('-')) return Factor();
    if (TakeSign('(')) {
      Term();
      return NeedSign(')');
    }
    const Lexeme& lexeme = lexemes_[at_];
    if (lexeme.kind == Lexeme::Kind::kNumber || lexeme.kind == Lexeme::Kind::kText ||
        lexeme.kind == Lexeme::Kind::kMarker || (IsName() && lexeme.text == "null")) {
      ++at_;
      return;
    }
    if (IsName() && IsSign(1, '(')) return Call();
    Name();
    if (TakeSign('.')) Name();
  }

  void Call() {
    static const std::set<std::string> kFunctions = {
        "count", "max", "min", "sum", "len", "lower", "translate", "isnull", "getdate", "convert"};
    const std::string name = lexemes_[at_].text;
    if (kFunctions.count(name) == 0) return Fail("a function of the language");
    at_ += 2;
    if (name == "convert") {
      Name();
      NeedSign(',');
    }
    if (TakeSign(')')) return;
    do {
      if (!TakeSign('*')) Term();
    } while (TakeSign(','));
    NeedSign(')');
  }

  bool IsName() const {
    return lexemes_[at_].kind == Lexeme::Kind::kName ||
           lexemes_[at_].kind == Lexeme::Kind::kBracketed;
  }
  bool IsEnd() const { return lexemes_[at_].kind == Lexeme::Kind::kEnd; }
  bool IsReserved() const {
    return lexemes_[at_].kind == Lexeme::Kind::kName &&
           ReservedWords().count(lexemes_[at_].text) > 0;
  }
  void Name() {
    if (!IsName()) return Fail("a name");
    if (IsReserved()) return Fail("a name that is not reserved");
    ++at_;
  }

  bool Take(const char* word) {
    if (!error_.empty() || lexemes_[at_].kind != Lexeme::Kind::kName ||
        lexemes_[at_].text != word) {
      return false;
    }
    ++at_;
    return true;
  }
  bool IsSign(size_t ahead, char sign) const {
    const size_t index = std::min(at_ + ahead, lexemes_.size() - 1);
    return lexemes_[index].kind == Lexeme::Kind::kSign && lexemes_[index].text[0] == sign;
  }
  bool TakeSign(char sign) {
    if (!error_.empty() || !IsSign(0, sign)) return false;
    ++at_;
    return true;
  }
  void NeedSign(char sign) {
    if (!TakeSign(sign)) Fail(std::string(1, sign));
  }
  void NeedWord(const char* word) {
    if (!Take(word)) Fail(word);
  }
  void Need(Lexeme::Kind kind, const char* what) {
    if (lexemes_[at_].kind != kind) return Fail(what);
    ++at_;
  }

  void Fail(const std::string& expected) {
    if (!error_.empty()) return;
    error_ = "at " + std::to_string(lexemes_[at_].place) + ": " + lexemes_[at_].text + " where " +
             expected + " is expected";
  }

  std::vector<Lexeme> lexemes_;
  size_t at_ = 0;
  std::string error_;
};

}  // namespace

std::string TransactSqlError(std::string_view statement) {
  return Parser(statement).Error();
}

}  // namespace vnq
