; A service technician's helper for a coffee machine, driven by goals: no rule says when to ask what.
;
; Run it and answer the questions, each on a line of its own:
;     kbsh coffee.clp --run
; or let it read prepared answers:
;     kbsh coffee.clp --run < coffee.in
;
; The rules for causes simply need what they need: states of the machine, and answers of the user. Both templates are
; marked for backward chaining, so a rule that comes to a halt for want of a state asserts the goal (need-state ...),
; the rules that can work out this state come alive, need answers or further states themselves, and at the end of the
; chain stands a question. What no rule needs is never asked, and nothing is asked twice.

(deftemplate question (slot topic) (slot text) (multislot allowed))
(deftemplate answer (slot topic) (slot value))
(deftemplate state (slot of) (slot is))
(deftemplate cause (slot name) (slot advice))

(do-backward-chaining answer state)

(deffacts questions
  (question (topic complaint) (text "What is wrong with the coffee") (allowed none cold thin bitter))
  (question (topic lamp) (text "Is the power lamp lit") (allowed yes no))
  (question (topic socket) (text "Does another device work at this socket") (allowed yes no))
  (question (topic pump) (text "Can you hear the pump") (allowed yes no))
  (question (topic tank) (text "How full is the water tank, in percent") (allowed))
  (question (topic steam) (text "Does the steam nozzle give steam") (allowed yes no))
  (question (topic descaled) (text "How many weeks ago was the machine descaled") (allowed))
  (question (topic hardness) (text "Is the water of this place hard") (allowed yes no))
  (question (topic grind) (text "Which number is the grinder set to, 1 (fine) to 10") (allowed))
  (question (topic beans) (text "How many weeks ago were the beans opened") (allowed)))

; --- Answers: the end of each chain -----------------------------------------------------------------------------------

(deffunction ask (?text ?allowed)
  (bind ?answer none-yet)
  (bind ?good FALSE)
  (while (not ?good) do
    (printout t ?text (if (> (length$ ?allowed) 0) then (str-cat " (" (implode$ ?allowed) ")") else "") "? ")
    (bind ?answer (read))
    (printout t ?answer crlf)
    (if (eq ?answer EOF) then (throw "The answers ended too early"))
    (if (= (length$ ?allowed) 0) then
      (bind ?good (numberp ?answer))
     else
      (bind ?good (neq (member$ ?answer ?allowed) FALSE)))
    (if (not ?good) then (printout t "Please choose one of the answers." crlf)))
  ?answer)

(defrule ask-the-user
  (need-answer (topic ?topic))
  (question (topic ?topic) (text ?text) (allowed $?allowed))
  =>
  (assert (answer (topic ?topic) (value (ask ?text ?allowed)))))

; --- States of the machine, worked out from answers and other states --------------------------------------------------

(defrule power-is-there
  (need-state (of power))
  (answer (topic lamp) (value yes))
  =>
  (assert (state (of power) (is there))))

(defrule power-is-missing
  (need-state (of power))
  (answer (topic lamp) (value no))
  (answer (topic socket) (value ?works))
  =>
  (assert (state (of power) (is (if (eq ?works yes) then lost-in-machine else lost-outside)))))

(defrule water-is-known
  (need-state (of water))
  (state (of power) (is there))
  (answer (topic tank) (value ?percent))
  =>
  (assert (state (of water) (is (if (< ?percent 10) then missing else there)))))

(defrule scale-is-known
  (need-state (of scale))
  (answer (topic hardness) (value ?hard))
  (answer (topic descaled) (value ?weeks))
  =>
  (assert (state (of scale) (is (if (> ?weeks (if (eq ?hard yes) then 6 else 20)) then thick else thin)))))

; --- Causes -----------------------------------------------------------------------------------------------------------

(defrule no-power-outside
  (answer (topic complaint) (value none))
  (state (of power) (is lost-outside))
  =>
  (assert (cause (name "The socket is dead") (advice "Look at the fuse of the room."))))

(defrule no-power-inside
  (answer (topic complaint) (value none))
  (state (of power) (is lost-in-machine))
  =>
  (assert (cause (name "The machine's fuse has blown") (advice "Send it to the workshop."))))

(defrule no-water
  (answer (topic complaint) (value none))
  (state (of water) (is missing))
  =>
  (assert (cause (name "The tank is empty") (advice "Fill it."))))

(defrule pump-is-dead
  (answer (topic complaint) (value none))
  (state (of water) (is there))
  (answer (topic pump) (value no))
  =>
  (assert (cause (name "The pump does not run") (advice "Send the machine to the workshop."))))

(defrule scale-in-the-pipes
  (answer (topic complaint) (value ~bitter))
  (state (of water) (is there))
  (state (of scale) (is thick))
  =>
  (assert (cause (name "Scale has closed the pipes") (advice "Descale twice, then once a month."))))

(defrule heater-is-dead
  (answer (topic complaint) (value cold))
  (answer (topic steam) (value no))
  =>
  (assert (cause (name "The heater is broken") (advice "Send the machine to the workshop."))))

(defrule ground-too-coarse
  (answer (topic complaint) (value thin))
  (answer (topic grind) (value ?number))
  (test (> ?number 5))
  =>
  (assert (cause (name "The grinder is set too coarse") (advice (str-cat "Turn it from " ?number " to 4.")))))

(defrule ground-too-fine
  (answer (topic complaint) (value bitter))
  (answer (topic grind) (value ?number))
  (test (<= ?number 2))
  =>
  (assert (cause (name "The grinder is set too fine") (advice "Turn it to 4."))))

(defrule beans-are-old
  (answer (topic complaint) (value ~none&~cold))
  (answer (topic beans) (value ?weeks))
  (test (> ?weeks 4))
  =>
  (assert (cause (name "The beans are stale") (advice "Open a fresh bag; keep it closed."))))

; --- The end ----------------------------------------------------------------------------------------------------------

(defrule show-cause
  (declare (salience -10))
  (cause (name ?name) (advice ?advice))
  =>
  (printout t "Cause: " ?name ". " ?advice crlf))

(defrule nothing-found
  (declare (salience -20))
  (not (cause))
  =>
  (printout t "No cause found; the technician has to come." crlf))
