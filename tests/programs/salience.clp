; kbsh: --run
; The order of firing: salience first, then the newest activation; halt ends it after the actions of its rule.
(deffacts facts (n 1) (n 2) (n 3) (go))
(defrule each (n ?x) => (printout t "n " ?x crlf))
(defrule first (declare (salience 5)) (go) => (printout t "first" crlf))
(defrule last (declare (salience -5)) (go) => (halt) (printout t "last" crlf))
(defrule never (declare (salience -10)) (go) => (printout t "never" crlf))
