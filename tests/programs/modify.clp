; kbsh: --run
; Facts that change: a counter, a stack, and copies.
(deftemplate counter (slot name) (slot value (type INTEGER) (default 0)) (multislot log))
(deffacts start (counter (name a)))

(defrule count
  ?f <- (counter (name a) (value ?v&:(< ?v 3)) (log $?log))
  =>
  (modify ?f (value (+ ?v 1)) (log ?log ?v)))

(defrule finished
  ?f <- (counter (name a) (value 3) (log $?log))
  =>
  (printout t "counted " ?log crlf)
  (duplicate ?f (name b) (value 30) (log (create$)))
  (retract ?f))

(defrule copied
  (counter (name b) (value ?v) (log $?log))
  =>
  (printout t "copy " ?v " " (length$ ?log) crlf)
  (printout t "asserting twice gives " (assert (done)) " and " (assert (done)) crlf))
