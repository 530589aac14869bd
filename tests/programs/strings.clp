; Text: joining, cutting, formatting.
(printout t (str-cat "one" 2 three) " " (upcase "größe") " " (str-length "größe") crlf)
(printout t (sub-string 2 4 "abcdef") " " (str-index "cd" "abcdef") " " (str-compare abc abd) crlf)
(format t "%-8s|%5d|%8.3f|%n" "left" 42 3.14159)
(printout t (str-format "%s and %s" (create$ a b) x) crlf)
(foreach word (explode$ "the quick  brown fox")
  (printout t "<" ?word ">"))
(printout t crlf (implode$ (create$ a "b c" 3)) crlf)
(str-cat "a \"quoted\" text")
