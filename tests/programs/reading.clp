; kbsh: --run
; A dialogue: words, numbers, lines and the end of the input.
(deffunction ask (?question $?allowed)
  (printout t ?question " ")
  (bind ?answer (read))
  (while (and (neq ?answer EOF) (not (member$ ?answer ?allowed)))
    (printout t "again: ")
    (bind ?answer (read)))
  ?answer)

(defrule greet
  =>
  (printout t "name? ")
  (bind ?name (readline))
  (printout t "hello " ?name crlf)
  (printout t "happy: " (ask "are you happy?" yes no) crlf)
  (printout t "number? ")
  (bind ?n (read))
  (printout t (get-type ?n) " " (+ ?n 1) crlf)
  (printout t (get-type (read)) crlf)
  (printout t "end: " (read) " " (readline) crlf))
