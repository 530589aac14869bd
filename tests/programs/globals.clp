; Global variables and their reset.
(defglobal ?*limit* = 3 ?*seen* = (create$))
(deffunction note (?x) (bind ?*seen* (insert$ ?*seen* (length$ ?*seen*) ?x)))
(defrule take
  (n ?x&:(<= ?x ?*limit*))
  =>
  (note ?x))
(deffacts ns (n 1) (n 5) (n 3))
(reset)
(run)
(printout t ?*seen* crlf)
(bind ?*limit* 10)
(reset)
(printout t ?*seen* ?*limit* crlf)
(run)
(printout t (length$ ?*seen*) crlf)
