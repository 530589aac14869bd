; kbsh: --run
; The address of a fact is a value like any other: patterns compare it with slots of other facts, also negated.
(deftemplate part (slot name))
(deftemplate link (slot from) (slot to))
(deftemplate done (slot what))
(deffacts parts (part (name a)) (part (name b)) (part (name c)))

(defrule chain
  (declare (salience 10))
  ?x <- (part (name ?n))
  ?y <- (part (name ?m&:(> (str-compare ?m ?n) 0)))
  (not (link (from ?x)))
  (not (link (to ?y)))
  =>
  (printout t ?n "-" ?m crlf)
  (assert (link (from ?x) (to ?y))))

(defrule ends
  ?x <- (part (name ?n))
  ?y <- (part (name ?m))
  (link (from ?x) (to ?y))
  =>
  (printout t "from " ?n " to " ?m crlf))

(defrule others
  (declare (salience -10))
  (link (from ?x) (to ?y))
  ?z <- (part (name ?n))
  (test (and (neq ?z ?x) (neq ?z ?y)))
  (not (done (what ?z)))
  (part (name ?n))
  =>
  (assert (done (what ?z)))
  (printout t "not " ?n crlf))
