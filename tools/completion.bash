# Completion for kivdb in bash: commands, options, and the tables, columns and
# ids of the database that the line names.
# shellcheck shell=bash

# Sets plain to what the shell makes of a word, quote to the quote that is open
# at its end, and kept to how many characters of plain readline leaves alone: it
# completes what stands behind the last of COMP_WORDBREAKS or the open quote.
_kivdb_unquote() {
  local word=$1 c i before=0
  plain='' quote='' kept=0
  for ((i = 0; i < ${#word}; ++i)); do
    c=${word:i:1}
    case $quote$c in
      \'\' | \"\")
        quote='' kept=$before
        ;;
      \"\\)
        c=${word:(++i):1}
        [[ $c == [\"\\\$\`] ]] || plain+=\\
        plain+=$c
        ;;
      [\'\"]?)
        plain+=$c
        ;;
      \\)
        plain+=${word:(++i):1}
        ;;
      [\'\"])
        quote=$c before=$kept kept=${#plain}
        ;;
      *)
        plain+=$c
        if [[ ${COMP_WORDBREAKS-} == *"$c"* ]]; then
          kept=${#plain}
        fi
        ;;
    esac
  done
}

# Sets words to those of the line, with what bash has split at COMP_WORDBREAKS
# put together again, and cword to the place of the one at the cursor, which
# ends there.
_kivdb_split() {
  local rest=${COMP_LINE-} word i
  words=()
  for i in "${!COMP_WORDS[@]}"; do
    word=${COMP_WORDS[i]}
    if [[ ${#words[@]} -eq 0 || -z ${COMP_LINE-} || $rest == [[:space:]]* ]]
    then
      words+=('')
      rest=${rest#"${rest%%[![:space:]]*}"}
    fi
    if ((i == COMP_CWORD)); then
      cword=$((${#words[@]} - 1))
      if [[ -n ${COMP_LINE-} ]]; then
        word=${word:0:COMP_POINT - ${#COMP_LINE} + ${#rest}}
      fi
    fi
    # What bash has split off behind the cursor is no part of the word.
    if ((i <= COMP_CWORD || cword != ${#words[@]} - 1)); then
      words[-1]+=$word
    fi
    rest=${rest#"${COMP_WORDS[i]}"}
  done
}

# Notes the root that an option names.
_kivdb_take_root() {
  root=$1/
  root=${root/#\~\//"$HOME/"}
}

# Takes one word of the line that is not the one at the cursor.
_kivdb_take() {
  local word=$1 is_before=$2
  if [[ $pending == --where && ($word != -* || -n $literal) ]]; then
    given+=("$word")
  elif [[ $pending && $pending != --where ]]; then
    if [[ $pending == --root ]]; then
      _kivdb_take_root "$word"
    fi
    pending=
  elif [[ $word != -?* || -n $literal || $word =~ ^-[0-9]+$ && $word != -0 ]]
  then
    if ((! is_before)); then
      return
    elif [[ ! $command ]]; then
      command=$word
    else
      positional+=("$word")
    fi
  else
    pending=
    case $word in
      --) literal=1 ;;
      --root=*) _kivdb_take_root "${word#*=}" ;;
      --where=*) given+=("${word#*=}") pending=--where ;;
      -r | --root) pending=--root ;;
      -r*) _kivdb_take_root "${word#-r}" ;;
      -o | --output) pending=--output ;;
      --wait | --columns | --limit | --default | --id | --max | --where | \
        --from | --host | --redact | --base) pending=$word ;;
    esac
  fi
}

# Offers the texts that begin as the word does, quoted as it is.
_kivdb_offer() {
  local text
  for text; do
    text=$prefix$text
    if [[ $text != "$plain"* ]]; then
      continue
    fi
    text=${text:kept}
    case $quote in
      \') text=${text//\'/\'\\\'\'} ;;
      \")
        text=${text//\\/\\\\}
        text=${text//\"/\\\"}
        text=${text//\$/\\\$}
        text=${text//\`/\\\`}
        ;;
      *)
        [[ ! $text ]] || printf -v text %q "$text"
        text=${text//\\,/,}
        ;;
    esac
    # Or readline would take the end of the name for the closing quote.
    if [[ $quote && $text == *"$quote" ]]; then
      text+=$quote
    fi
    COMPREPLY+=("$text")
  done
}

# Offers those of the texts that are not among the given ones.
_kivdb_offer_new() {
  local text other
  for text; do
    for other in "${given[@]}"; do
      if [[ $text == "$other" ]]; then
        continue 2
      fi
    done
    _kivdb_offer "$text"
  done
}

# Completion by readline itself, which knows about quotes and tildes.
_kivdb_offer_files() {
  compopt -o default 2>/dev/null
}
_kivdb_offer_directories() {
  compopt -o dirnames 2>/dev/null
}
_kivdb_add_no_blank() {
  compopt -o nospace 2>/dev/null
}

_kivdb_run() {
  "$program" -r "$root" "$@" </dev/null 2>/dev/null
}

_kivdb_offer_tables() {
  local tables
  mapfile -d '' -t tables < <(_kivdb_run -0 -o ids tables)
  _kivdb_offer_new "${tables[@]}"
}

# Sets columns to the names of the columns of a table, the id first.
_kivdb_read_columns() {
  local name
  columns=()
  while IFS=$'\t' read -r _ name _; do
    printf -v name %b "$name"
    columns+=("$name")
  done < <(_kivdb_run -o tsv schema -- "$1")
  columns=("${columns[@]:1}") # without the header
}

# The columns as they are, to begin with.
_kivdb_offer_description() {
  local name type text=
  while IFS=$'\t' read -r _ name type; do
    text+=,$name:$type
  done < <(_kivdb_run -o tsv schema -- "$table" | tail -n +2)
  _kivdb_offer "${text#,}"
}

# Column names with "=", those before the given place left out.
_kivdb_offer_keys() {
  local columns
  _kivdb_read_columns "$table"
  columns=("${columns[@]:$1}")
  given=("${given[@]/%=*/=}")
  _kivdb_add_no_blank
  _kivdb_offer_new "${columns[@]/%/=}"
}

# The last name of a list with commas.
_kivdb_offer_columns() {
  local columns text=${plain#"$prefix"}
  if [[ $text == *,* ]]; then
    prefix+=${text%,*},
    IFS=, read -r -a given <<<"${text%,*}"
  fi
  _kivdb_read_columns "$table"
  _kivdb_offer_new "${columns[@]}"
}

_kivdb_offer_table_columns() {
  local text=${plain#"$prefix"} columns
  given=()
  if [[ $text == *.* ]]; then
    _kivdb_read_columns "${text%.*}"
    columns=("${columns[@]:1}")
    _kivdb_offer "${columns[@]/#/${text%.*}.}"
  else
    _kivdb_add_no_blank
    _kivdb_offer_tables
    COMPREPLY=("${COMPREPLY[@]/%/.}")
  fi
}

# Only where there are few.
_kivdb_offer_ids() {
  local ids
  mapfile -d '' -t ids < <(_kivdb_run -0 -o ids list --limit 301 -- "$table")
  if ((${#ids[@]} <= 300)); then
    compopt -o nosort 2>/dev/null
    _kivdb_offer_new "${ids[@]}"
  fi
}

_kivdb_offer_commands() {
  _kivdb_offer tables schema list get add set delete edit import batch \
    add-table migrate drop-table clear create upgrade dump check diff backup \
    restore watch help
}

_kivdb_offer_options() {
  case $command in
    list) _kivdb_offer --columns --limit --count --unsorted ;;
    get) _kivdb_offer --default ;;
    add) _kivdb_offer --id --max --replace ;;
    delete) _kivdb_offer --where --force --dry-run ;;
    import) _kivdb_offer --from --replace --update --dry-run ;;
    batch) _kivdb_offer --dry-run ;;
    migrate | drop-table | clear) _kivdb_offer --force --dry-run ;;
    create) _kivdb_offer --id --host --dry-run ;;
    upgrade) _kivdb_offer --base --prune --id --host --dry-run ;;
    dump) _kivdb_offer --redact ;;
    check) _kivdb_offer --repair --restore --discard --dry-run ;;
    '') _kivdb_offer --version ;;
  esac
  _kivdb_offer --root --output --quiet --verbose --null --wait --no-progress \
    --help -r -o -q -v -0 -h
}

_kivdb_offer_value() {
  case $1 in
    --root) _kivdb_offer_directories ;;
    --output) _kivdb_offer table tsv csv json jsonl raw ids ;;
    --from) _kivdb_offer csv json jsonl ;;
    --columns) _kivdb_offer_columns ;;
    --where) _kivdb_offer_keys 0 ;;
    --redact) _kivdb_offer_table_columns ;;
    --base) _kivdb_offer_files ;;
  esac
}

# The arguments behind the table.
_kivdb_offer_rest() {
  local count=${#positional[@]}
  given+=("${positional[@]:1}")
  case $command:$count in
    list:*) _kivdb_offer_keys 0 ;;
    add:*) _kivdb_offer_keys 1 ;;
    get:1 | set:1 | edit:1 | delete:*) _kivdb_offer_ids ;;
    get:2)
      given=()
      _kivdb_offer_columns
      ;;
    set:*) _kivdb_offer_keys 1 ;;
    import:1) _kivdb_offer_files ;;
    migrate:1) _kivdb_offer_description ;;
  esac
}

_kivdb_offer_arguments() {
  if [[ $command == watch && $is_literal ]]; then
    _kivdb_offer_files
    return
  fi
  case $command:${#positional[@]} in
    :*) _kivdb_offer_commands ;;
    help:0) _kivdb_offer_commands ;;
    batch:0 | create:0 | upgrade:0 | diff:0 | backup:0 | restore:0)
      _kivdb_offer_files
      ;;
    schema:* | dump:* | check:* | watch:*)
      given=("${positional[@]}")
      _kivdb_offer_tables
      ;;
    tables:* | help:* | batch:* | create:* | upgrade:* | diff:*) ;;
    backup:* | restore:* | add-table:*) ;;
    *:0) _kivdb_offer_tables ;;
    *) _kivdb_offer_rest ;;
  esac
}

_kivdb() {
  local words cword=0 plain quote kept prefix='' i
  local program root=. command='' table pending='' literal='' expected=''
  local is_literal='' positional=() given=()
  COMPREPLY=()
  _kivdb_split
  _kivdb_unquote "${words[0]}"
  program=${plain/#\~\//"$HOME/"}
  for ((i = 1; i < ${#words[@]}; ++i)); do
    if ((i == cword)); then
      expected=$pending is_literal=$literal pending=
    else
      _kivdb_unquote "${words[i]}"
      _kivdb_take "$plain" $((i < cword))
    fi
  done
  _kivdb_unquote "${words[cword]}"
  table=${positional[0]-}
  if [[ $expected == --where && $plain == -* && ! $is_literal ]]; then
    expected=
  fi
  if [[ $expected ]]; then
    _kivdb_offer_value "$expected"
  elif [[ $plain == --*=* && ! $is_literal ]]; then
    prefix=${plain%%=*}=
    _kivdb_offer_value "${plain%%=*}"
  elif [[ $plain == -* && ! $is_literal ]]; then
    _kivdb_offer_options
  else
    _kivdb_offer_arguments
  fi
}

complete -F _kivdb kivdb
