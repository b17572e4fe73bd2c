// The fixed names of the data model's language: keys of schema nodes, and members of the daemon's messages.
// Constants only, below everything: the requests' builders use them as much as platform/tr does.
#pragma once

/// Keys of schema nodes that are no children. From "#info" on they are the client's own marks.
inline constexpr const char OX_TR_ATTR[] = "#attr";          ///< the node's attributes
inline constexpr const char OX_TR_TEMPLATE[] = "#template";  ///< stands for any instance
inline constexpr const char OX_TR_INPUT[] = "#input";        ///< the arguments of a method
inline constexpr const char OX_TR_OUTPUT[] = "#output";      ///< its results
inline constexpr const char OX_TR_INFO[] = "#info";          ///< the other members of a named element
inline constexpr const char OX_TR_FETCHED[] = "#fetched";    ///< the children are known
inline constexpr const char OX_TR_LOST[] = "#lost";          ///< the daemon was not reached
inline constexpr const char OX_TR_SHARED[] = "#shared";      ///< several places hold the node: work on a copy
inline constexpr const char OX_TR_PARTIAL[] = "#partial";    ///< of the children only "#template" is known
inline constexpr const char OX_TR_LARGE[] = "#large";        ///< children are missing: no answer holds them

/// Pseudo-parameters: of a multi-instance object, and of the instances of an ordered one.
inline constexpr const char OX_TR_MAX_INSTANCE[] = "max_instance";
inline constexpr const char OX_TR_ORDER[] = "order";
inline constexpr const char OX_TR_INDEX[] = "index";

/// Members of requests and answers: lists, and what their elements hold.
inline constexpr const char OX_TR_PARAMETER_LIST[] = "ParameterList";
inline constexpr const char OX_TR_PARAMETER_NAMES[] = "ParameterNames";
inline constexpr const char OX_TR_NAME[] = "Name";
inline constexpr const char OX_TR_VALUE[] = "Value";
inline constexpr const char OX_TR_ATTRIBUTES[] = "Attributes";
inline constexpr const char OX_TR_WRITABLE[] = "Writable";

/// Members of requests and answers: what is asked for, and how much of it.
inline constexpr const char OX_TR_PATH[] = "Path";
inline constexpr const char OX_TR_PARAMETER_PATH[] = "ParameterPath";
inline constexpr const char OX_TR_OBJECT_NAME[] = "ObjectName";
inline constexpr const char OX_TR_INSTANCE_NUMBER[] = "InstanceNumber";
inline constexpr const char OX_TR_LEVEL[] = "Level";
inline constexpr const char OX_TR_NEXT_LEVEL[] = "NextLevel";
inline constexpr const char OX_TR_IGNORE_ACCESS_ERROR[] = "IgnoreAccessError";
inline constexpr const char OX_TR_DETAILS[] = "Details";
inline constexpr const char OX_TR_DRY_RUN[] = "DryRun";
inline constexpr const char OX_TR_CHANGE[] = "Change";
inline constexpr const char OX_TR_TIMEOUT[] = "Timeout";
inline constexpr const char OX_TR_SELECTOR[] = "Selector";
inline constexpr const char OX_TR_MATCHES[] = "Matches";
inline constexpr const char OX_TR_CONFIG[] = "Config";
inline constexpr const char OX_TR_DATAMODEL[] = "Datamodel";

/// What an event tells of an instance: the member and its two values.
inline constexpr const char OX_TR_ACTION[] = "Action";
inline constexpr const char OX_TR_ACTION_ADD[] = "Add";
inline constexpr const char OX_TR_ACTION_DELETE[] = "Delete";
