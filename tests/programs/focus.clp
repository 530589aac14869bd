; kbsh: --watch focus --run
; Modules take turns.
(deffacts orders (order 1))
(defrule begin (order ?id) => (printout t "order " ?id crlf) (focus check ship))

(defmodule check)
(deffacts check::items (item a))
(defrule check::ok (item ?x) => (printout t "checked " ?x crlf))

(defmodule ship)
(deffacts ship::boxes (box 1))
(defrule ship::pack
  (declare (salience 10))
  (box ?x)
  =>
  (printout t "packed " ?x " in " (get-focus-stack) crlf)
  (return))
(defrule ship::never (box ?x) => (printout t "not reached" crlf))
